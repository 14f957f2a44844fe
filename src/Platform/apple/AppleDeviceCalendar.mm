// Dates as the platform's date formatter writes them: a new NSDateFormatter
// with the date format set and nothing else, so that the device's locale,
// calendar (with its week rules for the week-based year "YYYY") and time zone
// apply.
#include <memory>

#include "Platform/DeviceCalendar.h"
#include "Platform/apple/AppleBridge.h"
#include "Platform/apple/AppleProviders.h"

namespace rqb::apple {
namespace {

// NSDateFormatter formats from any thread once configured.
class AppleDateFormatter final : public DateFormatter {
 public:
  explicit AppleDateFormatter(NSDateFormatter* formatter) : formatter_(formatter) {}

  std::string StringFromDate(std::chrono::system_clock::time_point date) const override {
    return CallPlatform([&] {
      @autoreleasepool {
        return ToText([formatter_ stringFromDate:ToNSDate(date)]).value_or(std::string());
      }
    });
  }

 private:
  NSDateFormatter* const formatter_;
};

class AppleDeviceCalendar final : public DeviceCalendar {
 public:
  std::shared_ptr<DateFormatter> CreateDateFormatter(std::string_view pattern) const override {
    return CallPlatform([&] {
      NSDateFormatter* formatter = [[NSDateFormatter alloc] init];
      formatter.dateFormat = ToNSString(pattern);
      return std::make_shared<AppleDateFormatter>(formatter);
    });
  }
};

}  // namespace

DeviceCalendar* NewDeviceCalendar() { return new AppleDeviceCalendar(); }

}  // namespace rqb::apple
