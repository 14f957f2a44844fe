// HTTP requests through the platform's URL-loading system: a session made
// from a configuration runs data tasks and reports each on its own queue.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace rqb {

enum class UrlRequestCachePolicy {
  kUseProtocolCachePolicy = 0,
  kReloadIgnoringLocalCacheData = 1,
};

// A mutable HTTP request.
struct UrlRequest {
  std::optional<std::string> url;  // absent when no valid URL was set
  std::string http_method = "GET";
  std::string http_body;
  bool http_should_handle_cookies = true;
  UrlRequestCachePolicy cache_policy = UrlRequestCachePolicy::kUseProtocolCachePolicy;
  // Header fields in the order they were first set.
  std::vector<std::pair<std::string, std::string>> header_fields;

  // Sets `field` to `value`, replacing an earlier value of the same field
  // (compared without regard to case) in its place.
  void SetValueForHttpHeaderField(std::string value, std::string_view field);
  // The value of `field` (any case), if set.
  const std::string* ValueForHttpHeaderField(std::string_view field) const;
};

// Settings of one URL session.
struct UrlSessionConfiguration {
  // No persistent cookie, cache or credential storage.
  bool ephemeral = true;
  // Idle time-out of a request in seconds, restarted whenever data arrives.
  double timeout_interval_for_request = 60;
  // Bound on a whole transfer, in seconds.
  double timeout_interval_for_resource = 7 * 24 * 3600;

  static UrlSessionConfiguration Ephemeral() { return UrlSessionConfiguration{}; }
};

struct UrlResponse {
  bool is_http = true;
  long status_code = 0;
};

struct UrlError {
  std::string localized_description;
};

// Called once per data task with the body received, the response and the
// transport error; each is absent when there is none.
using DataTaskCompletionHandler = std::function<void(
    std::optional<std::string> data, std::optional<UrlResponse> response,
    std::optional<UrlError> error)>;

class UrlSession {
 public:
  UrlSession() = default;
  UrlSession(const UrlSession&) = delete;
  UrlSession& operator=(const UrlSession&) = delete;
  virtual ~UrlSession() = default;

  // Creates a data task for `request`, starts it and returns at once. The
  // transfer keeps what it needs alive until `completion` has run; the
  // session itself may be released right after this call. `completion` runs
  // on the session's own serial queue, never on the calling thread.
  virtual void StartDataTask(UrlRequest request, DataTaskCompletionHandler completion) = 0;
};

class UrlSessionFactory {
 public:
  UrlSessionFactory() = default;
  UrlSessionFactory(const UrlSessionFactory&) = delete;
  UrlSessionFactory& operator=(const UrlSessionFactory&) = delete;
  virtual ~UrlSessionFactory() = default;

  // A new session with `configuration`. Called from any thread.
  virtual std::shared_ptr<UrlSession> CreateSession(
      const UrlSessionConfiguration& configuration) = 0;
};

}  // namespace rqb
