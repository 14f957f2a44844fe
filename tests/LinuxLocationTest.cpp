// The Linux providers of the location code: regional settings through ICU and
// the location service on the D-Bus system bus.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>

#include "Platform/linux/LinuxDeviceCalendar.h"
#include "Platform/linux/LinuxLocationServices.h"

extern char** environ;

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

// A private message bus that stands in for the system bus, with a location
// service on it that offers a given accuracy level.
class PrivateSystemBus {
 public:
  PrivateSystemBus() : directory_(MakeDirectory()) {
    const std::string config = directory_ + "/bus.conf";
    std::ofstream(config) << "<busconfig><listen>unix:path=" << directory_
                          << "/socket</listen><auth>EXTERNAL</auth>"
                             "<policy context=\"default\"><allow user=\"*\"/><allow own=\"*\"/>"
                             "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/>"
                             "</policy></busconfig>";
    int address_pipe[2];
    if (pipe2(address_pipe, O_CLOEXEC) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, address_pipe[1], STDOUT_FILENO);
    const std::string config_option = "--config-file=" + config;
    const char* argv[] = {"dbus-daemon", config_option.c_str(), "--nofork", "--nopidfile",
                          "--print-address", nullptr};
    const int spawned = posix_spawnp(&daemon_, "dbus-daemon", &actions, nullptr,
                                     const_cast<char**>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(address_pipe[1]);
    if (spawned != 0) {
      daemon_ = -1;
      close(address_pipe[0]);
      return;
    }
    // The daemon prints its address once it listens.
    FILE* output = fdopen(address_pipe[0], "r");
    char line[512] = {};
    if (std::fgets(line, sizeof line, output) != nullptr) {
      address_ = line;
      while (!address_.empty() && address_.back() == '\n') address_.pop_back();
    }
    std::fclose(output);
  }

  ~PrivateSystemBus() {
    StopService();
    if (daemon_ > 0) {
      kill(daemon_, SIGTERM);
      waitpid(daemon_, nullptr, 0);
    }
    std::filesystem::remove_all(directory_);
  }

  bool running() const { return !address_.empty(); }
  const std::string& address() const { return address_; }

  // Puts the location service on the bus, answering `level`.
  bool StartService(std::uint32_t level) {
    level_ = level;
    if (sd_bus_new(&service_) < 0 || sd_bus_set_address(service_, address_.c_str()) < 0 ||
        sd_bus_set_bus_client(service_, 1) < 0 || sd_bus_start(service_) < 0 ||
        sd_bus_add_object_vtable(service_, nullptr, "/org/freedesktop/GeoClue2/Manager",
                                 "org.freedesktop.GeoClue2.Manager", kManagerVtable,
                                 &level_) < 0 ||
        sd_bus_request_name(service_, "org.freedesktop.GeoClue2", 0) < 0) {
      return false;
    }
    serving_ = std::thread([this] {
      while (!stop_) {
        if (sd_bus_process(service_, nullptr) > 0) continue;
        sd_bus_wait(service_, 20'000);  // wakes up to notice stop_
      }
    });
    return true;
  }

 private:
  static std::string MakeDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "rqb-bus-XXXXXX").string();
    return mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
  }

  void StopService() {
    stop_ = true;
    if (serving_.joinable()) serving_.join();
    if (service_ != nullptr) sd_bus_flush_close_unref(service_);
  }

  static constexpr sd_bus_vtable kManagerVtable[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_PROPERTY("AvailableAccuracyLevel", "u", nullptr, 0, SD_BUS_VTABLE_PROPERTY_CONST),
      SD_BUS_VTABLE_END,
  };

  const std::string directory_;
  pid_t daemon_ = -1;
  std::string address_;
  sd_bus* service_ = nullptr;
  std::uint32_t level_ = 0;
  std::atomic<bool> stop_ = false;
  std::thread serving_;
};

class LinuxLocationServicesOnABus : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!bus_.running()) GTEST_SKIP() << "dbus-daemon could not be started here";
    use_bus_.emplace("DBUS_SYSTEM_BUS_ADDRESS", bus_.address());
  }

  PrivateSystemBus bus_;
  std::optional<ScopedEnvironment> use_bus_;
};

TEST_F(LinuxLocationServicesOnABus, AreOnWhenTheServiceOffersSomeAccuracy) {
  ASSERT_TRUE(bus_.StartService(4));  // city level
  EXPECT_TRUE(LinuxLocationServices().LocationServicesEnabled());
}

TEST_F(LinuxLocationServicesOnABus, AreOffWhenTheServiceOffersNoAccuracy) {
  ASSERT_TRUE(bus_.StartService(0));
  EXPECT_FALSE(LinuxLocationServices().LocationServicesEnabled());
}

TEST_F(LinuxLocationServicesOnABus, AreOffWhenNoServiceIsOnTheBus) {
  EXPECT_FALSE(LinuxLocationServices().LocationServicesEnabled());
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
