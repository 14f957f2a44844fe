// What the system's application services answer: the advertising identifier,
// in-app payments and URL handlers.
#pragma once

#include <optional>
#include <string>

namespace rqb {

// Called from any thread, concurrently; never throws.
class ApplicationServices {
 public:
  ApplicationServices() = default;
  ApplicationServices(const ApplicationServices&) = delete;
  ApplicationServices& operator=(const ApplicationServices&) = delete;
  virtual ~ApplicationServices() = default;

  // The advertising identifier as canonical upper-case UUID text, or nothing
  // when the system has none.
  virtual std::optional<std::string> AdvertisingIdentifier() const = 0;
  // Whether the user may make in-app payments.
  virtual bool CanMakePayments() const = 0;
  // Whether an installed application handles the scheme of `url`. A URL
  // that does not parse has no handler.
  virtual bool CanOpenUrl(const std::string& url) const = 0;
};

}  // namespace rqb
