#include "LoopbackReceiver.h"

#include <httplib.h>

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace rqb::loopback {
namespace {

bool SameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) ==
           std::tolower(static_cast<unsigned char>(y));
  });
}

// httplib adds the peer's and its own address among the headers.
bool IsServerAnnotation(const std::string& name) {
  return name == "REMOTE_ADDR" || name == "REMOTE_PORT" || name == "LOCAL_ADDR" ||
         name == "LOCAL_PORT";
}

}  // namespace

std::string ReceivedRequest::Header(std::string_view name) const {
  for (const auto& [field, value] : headers) {
    if (SameName(field, name)) return value;
  }
  return {};
}

LoopbackReceiver::LoopbackReceiver(const TestCertificateAuthority& ca, const std::string& host,
                                   std::size_t threads) {
  ServerCredentials credentials = ca.IssueServerCredentials(host);
  server_ =
      std::make_unique<httplib::SSLServer>(credentials.certificate.get(), credentials.key.get());
  if (!server_->is_valid()) throw std::runtime_error("loopback receiver: TLS set-up failed");
  // The response goes out in two writes; with Nagle's algorithm on, the
  // second waits for the client's delayed acknowledgement (about 40 ms).
  server_->set_tcp_nodelay(true);
  if (threads > 0) {
    server_->new_task_queue = [threads] { return new httplib::ThreadPool(threads); };
  }
  server_->Post(".*", [this](const httplib::Request& request, httplib::Response& response) {
    ReceivedRequest received;
    received.method = request.method;
    received.path = request.path;
    received.version = request.version;
    for (const auto& [name, value] : request.headers) {
      if (!IsServerAnnotation(name)) received.headers.emplace_back(name, value);
    }
    received.body = request.body;
    received.arrived = std::chrono::steady_clock::now();
    std::unique_lock lock(mutex_);
    requests_.push_back(std::move(received));
    arrived_.notify_all();
    answering_changed_.wait(lock, [this] { return answering_ != Answering::kHeld; });
    response.status = status_;
    if (answer_delay_.count() > 0) {
      const std::chrono::milliseconds delay = answer_delay_;
      lock.unlock();
      std::this_thread::sleep_for(delay);
      lock.lock();
    }
    if (answering_ == Answering::kEndlessBody) {
      response.set_chunked_content_provider(
          "application/octet-stream", [this](std::size_t, httplib::DataSink& sink) {
            if (!sink.write(endless_chunk_.data(), endless_chunk_.size())) return false;
            endless_bytes_ += endless_chunk_.size();
            return true;
          });
    }
  });
  port_ = server_->bind_to_any_port("127.0.0.1");
  if (port_ <= 0) throw std::runtime_error("loopback receiver: cannot bind 127.0.0.1");
  listener_ = std::thread([this] { server_->listen_after_bind(); });
  // stop() does nothing to a server that is not running yet, so a receiver
  // destroyed early would wait for its listener for ever.
  while (!server_->is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

LoopbackReceiver::~LoopbackReceiver() {
  SetAnswering(Answering::kAtOnce);  // a held answer would keep its handler for ever
  server_->stop();
  listener_.join();
}

void LoopbackReceiver::SetStatus(int status) {
  std::lock_guard lock(mutex_);
  status_ = status;
}

void LoopbackReceiver::SetAnswering(Answering answering) {
  std::lock_guard lock(mutex_);
  answering_ = answering;
  answering_changed_.notify_all();
}

std::uint64_t LoopbackReceiver::EndlessBytesSent() const { return endless_bytes_; }

void LoopbackReceiver::SetAnswerDelay(std::chrono::milliseconds delay) {
  std::lock_guard lock(mutex_);
  answer_delay_ = delay;
}

std::vector<ReceivedRequest> LoopbackReceiver::Requests() const {
  std::lock_guard lock(mutex_);
  return requests_;
}

std::size_t LoopbackReceiver::RequestCount() const {
  std::lock_guard lock(mutex_);
  return requests_.size();
}

bool LoopbackReceiver::WaitForRequests(std::size_t count, std::chrono::milliseconds timeout) const {
  std::unique_lock lock(mutex_);
  return arrived_.wait_for(lock, timeout, [&] { return requests_.size() >= count; });
}

std::string AuthorityOfUrl(std::string_view url) {
  constexpr std::string_view kScheme = "https://";
  if (url.substr(0, kScheme.size()) == kScheme) url.remove_prefix(kScheme.size());
  return std::string(url.substr(0, url.find('/')));
}

std::string HostOfUrl(std::string_view url) {
  const std::string authority = AuthorityOfUrl(url);
  // A port follows the last ':', unless that lies inside an IPv6 literal.
  const std::size_t colon = authority.rfind(':');
  if (colon == std::string::npos || authority.find(']', colon) != std::string::npos) {
    return authority;
  }
  return authority.substr(0, colon);
}

}  // namespace rqb::loopback
