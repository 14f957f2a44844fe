// The Linux providers of the location code: regional settings through ICU and
// the location service on the D-Bus system bus.
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

#include "Platform/linux/LinuxDeviceCalendar.h"
#include "Platform/linux/LinuxLocationServices.h"

namespace rqb {
namespace {

TEST(LinuxDeviceCalendar, TakesTheWeekRulesOfTheLocaleRegion) {
  // Same language, different regions: the region decides.
  const CalendarSettings us = CalendarSettingsFor("en_US", "Europe/Berlin");
  const CalendarSettings gb = CalendarSettingsFor("en_GB", "Europe/Berlin");
  EXPECT_EQ(std::pair(us.first_weekday, us.minimal_days_in_first_week), std::pair(1, 1));
  EXPECT_EQ(std::pair(gb.first_weekday, gb.minimal_days_in_first_week), std::pair(2, 4));
}

// Sets an environment variable until the end of the scope.
struct ScopedEnvironment {
  ScopedEnvironment(const char* name, const char* value) : name(name) {
    if (const char* was = std::getenv(name)) old = was;
    setenv(name, value, 1);
  }
  ~ScopedEnvironment() { old ? setenv(name, old->c_str(), 1) : unsetenv(name); }
  const char* name;
  std::optional<std::string> old;
};

TEST(LinuxDeviceCalendar, FollowsTheTimeZoneOfTheEnvironmentAsItChanges) {
  const LinuxDeviceCalendar calendar;
  ScopedEnvironment tz("TZ", "America/Sao_Paulo");
  EXPECT_EQ(calendar.Current().time_zone, "America/Sao_Paulo");
  setenv("TZ", "Asia/Kolkata", 1);
  EXPECT_EQ(calendar.Current().time_zone, "Asia/Kolkata");
}

TEST(LinuxLocationServices, AreOffWithoutASystemBus) {
  ScopedEnvironment no_bus("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/rqb-system-bus");
  EXPECT_FALSE(LinuxLocationServices().LocationServicesEnabled());
}

}  // namespace
}  // namespace rqb
