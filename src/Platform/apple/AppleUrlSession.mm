// Uploads through NSURLSession: one ephemeral session per upload, with the
// request and resource time-outs of the configuration.
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Platform/UrlSession.h"
#include "Platform/apple/AppleBridge.h"
#include "Platform/apple/AppleProviders.h"

namespace rqb::apple {
namespace {

NSMutableURLRequest* ToNSURLRequest(const UrlRequest& request) {
  NSMutableURLRequest* platform_request = [[NSMutableURLRequest alloc] init];
  if (request.url) platform_request.URL = [NSURL URLWithString:ToNSString(*request.url)];
  platform_request.HTTPShouldHandleCookies = request.http_should_handle_cookies;
  platform_request.cachePolicy =
      request.cache_policy == UrlRequestCachePolicy::kReloadIgnoringLocalCacheData
          ? NSURLRequestReloadIgnoringLocalCacheData
          : NSURLRequestUseProtocolCachePolicy;
  platform_request.HTTPMethod = ToNSString(request.http_method);
  platform_request.HTTPBody = [NSData dataWithBytes:request.http_body.data()
                                             length:request.http_body.size()];
  for (const auto& [field, value] : request.header_fields) {
    [platform_request setValue:ToNSString(value) forHTTPHeaderField:ToNSString(field)];
  }
  return platform_request;
}

class AppleUrlSession final : public UrlSession {
 public:
  explicit AppleUrlSession(NSURLSession* session) : session_(session) {}

  // Tasks under way finish first; then the system lets the session go.
  // Without this every upload's session would live as long as the process.
  ~AppleUrlSession() override { [session_ finishTasksAndInvalidate]; }

  // The completion runs on the session's own serial delegate queue. The body
  // is never read: the library uses nothing the service answers.
  void StartDataTask(UrlRequest request, DataTaskCompletionHandler completion) override {
    CallPlatform([&] {
      @autoreleasepool {
        auto handler = std::make_shared<DataTaskCompletionHandler>(std::move(completion));
        NSURLSessionDataTask* task = [session_
            dataTaskWithRequest:ToNSURLRequest(request)
              completionHandler:^(NSData*, NSURLResponse* response, NSError* error) {
                std::optional<UrlResponse> answer;
                if (response != nil) {
                  answer = UrlResponse{};
                  if ([response isKindOfClass:[NSHTTPURLResponse class]]) {
                    answer->status_code =
                        static_cast<long>(static_cast<NSHTTPURLResponse*>(response).statusCode);
                  } else {
                    answer->is_http = false;
                  }
                }
                std::optional<UrlError> failure;
                if (error != nil) {
                  failure = UrlError{ToText(error.localizedDescription).value_or("")};
                }
                (*handler)(std::nullopt, answer, failure);
              }];
        [task resume];
      }
    });
  }

 private:
  NSURLSession* const session_;
};

class AppleUrlSessionFactory final : public UrlSessionFactory {
 public:
  std::shared_ptr<UrlSession> CreateSession(const UrlSessionConfiguration& configuration) override {
    return CallPlatform([&] {
      @autoreleasepool {
        // Ephemeral whatever the flag says, as on every system: the library
        // keeps no cookies, caches or credentials.
        NSURLSessionConfiguration* platform_configuration =
            [NSURLSessionConfiguration ephemeralSessionConfiguration];
        platform_configuration.timeoutIntervalForResource =
            configuration.timeout_interval_for_resource;
        platform_configuration.timeoutIntervalForRequest =
            configuration.timeout_interval_for_request;
        return std::make_shared<AppleUrlSession>(
            [NSURLSession sessionWithConfiguration:platform_configuration]);
      }
    });
  }
};

}  // namespace

UrlSessionFactory* NewUrlSessionFactory() { return new AppleUrlSessionFactory(); }

}  // namespace rqb::apple
