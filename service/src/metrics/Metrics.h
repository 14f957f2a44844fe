// The service's counters, read by GET /metrics in the Prometheus text
// format. Updated from any thread without locks.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string>

#include "profile/Envelope.h"

namespace rqbservice {

// A latency histogram with fixed buckets.
class Histogram {
 public:
  static constexpr std::array<double, 12> kBounds = {0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025,
                                                     0.05,   0.1,   0.25,   0.5,   1,    2.5};
  void Observe(double seconds);
  // `name` without a suffix; writes _bucket, _sum and _count lines.
  void Render(std::string& out, const std::string& name) const;

 private:
  std::array<std::atomic<std::uint64_t>, kBounds.size() + 1> buckets_{};  // the last is +Inf
  std::atomic<std::uint64_t> count_{0};
  std::atomic<std::uint64_t> sum_microseconds_{0};
};

class Metrics {
 public:
  void CountReception(double seconds);
  void CountRejection(Rejection rejection);
  void CountStoreFailure() { store_failures_.fetch_add(1, std::memory_order_relaxed); }
  void CountQuery(double seconds);
  void CountUnauthorized() { unauthorized_.fetch_add(1, std::memory_order_relaxed); }

  std::string Render() const;

 private:
  static constexpr int kRejectionKinds = 7;
  std::atomic<std::uint64_t> receptions_{0};
  std::array<std::atomic<std::uint64_t>, kRejectionKinds> rejections_{};
  std::atomic<std::uint64_t> store_failures_{0};
  std::atomic<std::uint64_t> queries_{0};
  std::atomic<std::uint64_t> unauthorized_{0};
  Histogram reception_seconds_;
  Histogram query_seconds_;
};

}  // namespace rqbservice
