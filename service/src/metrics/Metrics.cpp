#include "metrics/Metrics.h"

#include <cstdio>

namespace rqbservice {
namespace {

void Line(std::string& out, const std::string& name, std::uint64_t value) {
  out += name + " " + std::to_string(value) + "\n";
}

std::string Number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  return text;
}

}  // namespace

void Histogram::Observe(double seconds) {
  std::size_t bucket = 0;
  while (bucket < kBounds.size() && seconds > kBounds[bucket]) ++bucket;
  buckets_[bucket].fetch_add(1, std::memory_order_relaxed);
  count_.fetch_add(1, std::memory_order_relaxed);
  sum_microseconds_.fetch_add(static_cast<std::uint64_t>(seconds * 1e6), std::memory_order_relaxed);
}

void Histogram::Render(std::string& out, const std::string& name) const {
  std::uint64_t cumulative = 0;
  for (std::size_t i = 0; i < kBounds.size(); ++i) {
    cumulative += buckets_[i].load(std::memory_order_relaxed);
    Line(out, name + "_bucket{le=\"" + Number(kBounds[i]) + "\"}", cumulative);
  }
  cumulative += buckets_[kBounds.size()].load(std::memory_order_relaxed);
  Line(out, name + "_bucket{le=\"+Inf\"}", cumulative);
  out += name + "_sum " + Number(static_cast<double>(sum_microseconds_.load()) / 1e6) + "\n";
  Line(out, name + "_count", count_.load(std::memory_order_relaxed));
}

void Metrics::CountReception(double seconds) {
  receptions_.fetch_add(1, std::memory_order_relaxed);
  reception_seconds_.Observe(seconds);
}

void Metrics::CountRejection(Rejection rejection) {
  rejections_[static_cast<std::size_t>(rejection)].fetch_add(1, std::memory_order_relaxed);
}

void Metrics::CountQuery(double seconds) {
  queries_.fetch_add(1, std::memory_order_relaxed);
  query_seconds_.Observe(seconds);
}

std::string Metrics::Render() const {
  std::string out;
  out += "# HELP rqbehavior_receptions_total Device profiles stored.\n";
  out += "# TYPE rqbehavior_receptions_total counter\n";
  Line(out, "rqbehavior_receptions_total", receptions_.load());
  out += "# HELP rqbehavior_rejections_total Uploads refused, by reason.\n";
  out += "# TYPE rqbehavior_rejections_total counter\n";
  for (int i = 0; i < kRejectionKinds; ++i) {
    Line(out,
         "rqbehavior_rejections_total{reason=\"" +
             std::string(RejectionName(static_cast<Rejection>(i))) + "\"}",
         rejections_[static_cast<std::size_t>(i)].load());
  }
  out += "# HELP rqbehavior_store_failures_total Uploads answered 503: the database failed.\n";
  out += "# TYPE rqbehavior_store_failures_total counter\n";
  Line(out, "rqbehavior_store_failures_total", store_failures_.load());
  out += "# HELP rqbehavior_query_requests_total Query API requests answered.\n";
  out += "# TYPE rqbehavior_query_requests_total counter\n";
  Line(out, "rqbehavior_query_requests_total", queries_.load());
  out +=
      "# HELP rqbehavior_unauthorized_requests_total Requests refused for a missing or wrong "
      "token.\n";
  out += "# TYPE rqbehavior_unauthorized_requests_total counter\n";
  Line(out, "rqbehavior_unauthorized_requests_total", unauthorized_.load());
  out += "# HELP rqbehavior_reception_duration_seconds From a profile's arrival to its commit.\n";
  out += "# TYPE rqbehavior_reception_duration_seconds histogram\n";
  reception_seconds_.Render(out, "rqbehavior_reception_duration_seconds");
  out += "# HELP rqbehavior_query_duration_seconds Time to answer a query.\n";
  out += "# TYPE rqbehavior_query_duration_seconds histogram\n";
  query_seconds_.Render(out, "rqbehavior_query_duration_seconds");
  return out;
}

}  // namespace rqbservice
