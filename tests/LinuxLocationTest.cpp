// The Linux providers of the location code: regional settings through ICU and
// the location service on the D-Bus system bus.
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>

#include "Platform/linux/LinuxDeviceCalendar.h"
#include "Platform/linux/LinuxLocationServices.h"

namespace rqb {
namespace {

TEST(LinuxDeviceCalendar, TakesTheWeekRulesOfTheLocaleRegion) {
  struct Case {
    const char* locale;
    int first_weekday;
    int minimal_days;
  };
  for (const Case& c : {Case{"en_US", 1, 1}, Case{"pt_BR", 1, 1}, Case{"en_US_POSIX", 1, 1},
                        Case{"de_DE", 2, 4}, Case{"en_GB", 2, 4}, Case{"fr_FR", 2, 4}}) {
    SCOPED_TRACE(c.locale);
    const CalendarSettings settings = CalendarSettingsFor(c.locale, "Europe/Berlin");
    EXPECT_EQ(settings.locale, c.locale);
    EXPECT_EQ(settings.time_zone, "Europe/Berlin");
    EXPECT_EQ(settings.first_weekday, c.first_weekday);
    EXPECT_EQ(settings.minimal_days_in_first_week, c.minimal_days);
  }
}

// Sets an environment variable for one scope, restoring it afterwards.
class ScopedEnvironment {
 public:
  ScopedEnvironment(const char* name, const std::string& value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    setenv(name, value.c_str(), 1);
  }
  ~ScopedEnvironment() {
    if (old_) {
      setenv(name_, old_->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

TEST(LinuxDeviceCalendar, FollowsTheTimeZoneOfTheEnvironmentAsItChanges) {
  const LinuxDeviceCalendar calendar;
  {
    ScopedEnvironment tz("TZ", "America/Sao_Paulo");
    EXPECT_EQ(calendar.Current().time_zone, "America/Sao_Paulo");
  }
  ScopedEnvironment tz("TZ", "Asia/Kolkata");
  EXPECT_EQ(calendar.Current().time_zone, "Asia/Kolkata");
}

TEST(LinuxLocationServices, AreOffWithoutASystemBus) {
  ScopedEnvironment no_bus("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/rqb-system-bus");
  EXPECT_FALSE(LinuxLocationServices().LocationServicesEnabled());
}

TEST(LinuxLocationServices, NeverAskedSoNotDeterminedAndNothingCached) {
  LinuxLocationServices services;
  EXPECT_EQ(services.AuthorizationStatus(), kLocationNotDetermined);
  EXPECT_FALSE(services.CreateManager()->CachedLocation());
}

}  // namespace
}  // namespace rqb
