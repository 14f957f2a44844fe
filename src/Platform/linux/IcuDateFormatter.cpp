#include "Platform/linux/IcuDateFormatter.h"

#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <list>
#include <memory>
#include <mutex>
#include <utility>

#include "Platform/ForkGate.h"

namespace rqb {
namespace {

// How many ICU formatters the process keeps. A run makes its formatters with
// the settings of its moment, which change seldom: one is enough in the
// usual case, and a few keep settings that come and go from rebuilding.
constexpr std::size_t kKeptFormatters = 4;

// One ICU formatter, made on first use.
struct SharedFormat {
  ForkSafeMutex mutex;                            // also keeps fork() out of ICU's own locks
  bool made = false;                              // guarded by mutex
  std::unique_ptr<icu::SimpleDateFormat> format;  // guarded by mutex; null when ICU refused
};

std::unique_ptr<icu::SimpleDateFormat> MakeFormat(const std::string& pattern,
                                                  const CalendarSettings& settings) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Locale locale(settings.locale.c_str());
  // The calendar carries the time zone and the week rules; the formatter
  // takes both from it.
  std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(
      icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(settings.time_zone)), locale,
      status));
  if (U_FAILURE(status)) return nullptr;
  calendar->setFirstDayOfWeek(static_cast<UCalendarDaysOfWeek>(settings.first_weekday));
  calendar->setMinimalDaysInFirstWeek(static_cast<uint8_t>(settings.minimal_days_in_first_week));
  auto format = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString::fromUTF8(pattern),
                                                        locale, status);
  if (U_FAILURE(status)) return nullptr;
  format->adoptCalendar(calendar.release());
  return format;
}

// The ICU formatters kept, the most recently used first. An entry dropped
// from the list lives on while a caller still formats with it.
class SharedFormats {
 public:
  std::shared_ptr<SharedFormat> For(const std::string& pattern, const CalendarSettings& settings) {
    std::lock_guard lock(mutex_);
    for (auto entry = entries_.begin(); entry != entries_.end(); ++entry) {
      if (entry->pattern == pattern && entry->settings == settings) {
        entries_.splice(entries_.begin(), entries_, entry);
        return entries_.front().format;
      }
    }
    if (entries_.size() == kKeptFormatters) entries_.pop_back();
    entries_.push_front({pattern, settings, std::make_shared<SharedFormat>()});
    return entries_.front().format;
  }

 private:
  struct Entry {
    std::string pattern;
    CalendarSettings settings;
    std::shared_ptr<SharedFormat> format;
  };

  ForkSafeMutex mutex_;
  std::list<Entry> entries_;  // guarded by mutex_
};

// Never destroyed: collection threads may format while the process exits.
SharedFormats& TheSharedFormats() {
  return MakeOnce([] { return new SharedFormats(); });
}

}  // namespace

IcuDateFormatter::IcuDateFormatter(std::string_view pattern, CalendarSettings settings)
    : pattern_(pattern), settings_(std::move(settings)) {}

std::string IcuDateFormatter::StringFromDate(std::chrono::system_clock::time_point date) const {
  const UDate milliseconds =
      std::chrono::duration<double, std::milli>(date.time_since_epoch()).count();
  const std::shared_ptr<SharedFormat> shared = TheSharedFormats().For(pattern_, settings_);
  icu::UnicodeString text;
  {
    std::lock_guard lock(shared->mutex);
    if (!shared->made) {
      shared->format = MakeFormat(pattern_, settings_);
      shared->made = true;
    }
    if (!shared->format) return {};
    shared->format->format(milliseconds, text);
  }
  std::string utf8;
  text.toUTF8String(utf8);
  return utf8;
}

}  // namespace rqb
