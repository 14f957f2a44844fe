// Whole collection runs through the real Linux providers: a hostile file
// costs the values read from it and nothing else, and overlapping runs share
// nothing unguarded.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>

#include "DataHelpers/RQBDataHelperRegistry.h"
#include "FakeDevicePlatform.h"
#include "Platform/linux/LinuxDevice.h"
#include "Platform/linux/LinuxDeviceCalendar.h"
#include "Platform/linux/LinuxPreferences.h"
#include "RQBehavior/RQBehavior.h"

namespace rqb {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Values = std::map<std::string, std::string>;

const std::regex kUuid(test::kUuidPattern);
// Stands in an expectation for an identifier made by the run.
constexpr const char* kNewIdentifier = "(new identifier)";
constexpr const char* kPreferences = "config/rqbehavior/app.json";

std::string KernelName() {
  utsname names{};
  uname(&names);
  return names.sysname;
}

Values BatteryValues(const char* text) { return {{"Battery", text}, {"BatteryInfo", text}}; }

// A file that the providers read, as a healthy machine holds it, and the
// values that change when it cannot be read (a FIFO, a device, a file far
// too large) or when one of its values is not UTF-8 (unless `latin1_changes`
// says otherwise, the same values).
struct OutsideFile {
  const char* path;  // below the machine's root
  std::string healthy;
  std::string latin1;
  Values changes;
  std::optional<Values> latin1_changes = std::nullopt;
};

const std::vector<OutsideFile>& OutsideFiles() {
  static const auto* files = new std::vector<OutsideFile>{
      {"etc/os-release",
       "NAME=\"Testix Linux\"\nVERSION_ID=\"13.1\"\n",
       "NAME=\"Testix \xE9\"\nVERSION_ID=\"13.1\"\n",
       {{"SystemName", "Fallback Linux"}, {"SystemVersion", "12.9"}},
       Values{{"SystemName", KernelName()}}},
      {"etc/machine-id",
       "5f0e7c1d2a3b4c5d6e7f8091a2b3c4d5\n",
       "5f0e7c1d2a3b4c5d6e7f8091a2b3c4d\xE9\n",
       {{"VisitorIdentifierForVendor", ""}}},
      {"etc/default/keyboard",
       "XKBLAYOUT=\"us,de\"\nXKBVARIANT=\",nodeadkeys\"\n",
       "XKBLAYOUT=\"us,de\"\nXKBVARIANT=\",nod\xE9\"\n",
       {{"InstalledKeyboards", R"(["fr"])"}}},
      {"sys/class/power_supply/BAT0/type", "Battery\n", "Batter\xE9\n",
       BatteryValues(R"({ "s": "unknown", "l": -100.000000 })")},
      {"sys/class/power_supply/BAT0/status", "Charging\n", "Charg\xE9\n",
       BatteryValues(R"({ "s": "unknown", "l": 85.000000 })")},
      {"sys/class/power_supply/BAT0/capacity", "85\n", "85\xE9\n",
       BatteryValues(R"({ "s": "c", "l": -100.000000 })")},
      {"config/user-dirs.dirs",
       "XDG_DOCUMENTS_DIR=\"$HOME/Documents\"\n",
       "XDG_DOCUMENTS_DIR=\"$HOME/Dokum\xE9nte\"\n",
       {}},
      {kPreferences,
       R"({"DeviceGeneratedId": "stored-id"})",
       "{\"DeviceGeneratedId\": \"stored-id\", \"Note\": \"caf\xE9\"}",
       {{"DeviceGeneratedId", kNewIdentifier}}},
      {"etc/timezone", "America/Sao_Paulo\n", "Am\xE9rica/Sao_Paulo\n", {}},
  };
  return *files;
}

enum class Hostile { kFifo, kDevice, kHuge, kLatin1 };

class LinuxOutsideFiles : public test::PlatformTest {
 protected:
  void WriteHealthyMachine(const fs::path& root) {
    Write(root / "usr/lib/os-release", "NAME=\"Fallback Linux\"\nVERSION_ID=\"12.9\"\n");
    Write(root / "etc/vconsole.conf", "KEYMAP=fr\nXKBLAYOUT=fr\n");
    Write(root / "home/Documents/.keep", "");
    for (const OutsideFile& file : OutsideFiles()) Write(root / file.path, file.healthy);
  }

  static void Write(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
  }

  static void MakeHostile(const fs::path& path, Hostile kind, const std::string& latin1) {
    fs::remove(path);
    ASSERT_TRUE(kind != Hostile::kFifo || mkfifo(path.c_str(), 0600) == 0);
    if (kind == Hostile::kDevice) fs::create_symlink("/dev/zero", path);
    if (kind == Hostile::kHuge) {
      std::ofstream(path).close();
      fs::resize_file(path, 300 << 20);  // sparse: costs no disk space
    }
    if (kind == Hostile::kLatin1) Write(path, latin1);
  }

  // The variables of one run below `root`; nothing when the run posted
  // nothing or did not end (a FIFO at `hostile` is then opened for writing
  // until it does, so that the test can end).
  std::optional<Values> Collect(const fs::path& root, const fs::path& hostile = {}) {
    // The providers that read files read them below `root`; the others are
    // the machine's own.
    RegistryClassLookup classes;
    LinuxDevice device(root);
    LinuxDeviceCalendar calendar(root);
    LinuxPreferences preferences(root / kPreferences,
                                 {root / "etc/default/keyboard", root / "etc/vconsole.conf"});
    const ScopedPlatformOverride in_force(Platform{.classes = &classes,
                                                   .calendar = &calendar,
                                                   .device = &device,
                                                   .preferences = &preferences});
    const test::ScopedEnvironment config("XDG_CONFIG_HOME", (root / "config").c_str());
    const test::ScopedEnvironment home("HOME", (root / "home").c_str());
    const test::ScopedEnvironment tz("TZ", nullptr);
    const test::ScopedEnvironment no_bus("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");

    const std::size_t posted = sessions_.Tasks().size();
    RQBehavior::getInstance("shop-app-01").collectDeviceInformation("session-1");
    auto run = std::async(std::launch::async, [this] { background_.RunAll(); });
    const bool ended = run.wait_for(20s) == std::future_status::ready;
    while (run.wait_for(100ms) != std::future_status::ready) {
      close(open(hostile.c_str(), O_WRONLY | O_NONBLOCK));
    }
    const auto tasks = sessions_.Tasks();
    if (!ended || tasks.size() == posted) return std::nullopt;
    return nlohmann::json::parse(tasks.back().request.http_body)["Variables"].get<Values>();
  }

  static void ExpectValues(const Values& got, Values expected, const Values& changed,
                           const std::string& context) {
    for (const auto& [key, value] : changed) expected[key] = value;
    ASSERT_EQ(got.size(), expected.size()) << context;
    for (const auto& [key, value] : expected) {
      const std::string& actual = got.at(key);
      if (key == "FreeDiskSpace") {
        // Changes as others write to the disk; only its form is stable.
        EXPECT_TRUE(std::regex_match(actual, std::regex("[0-9]+"))) << context << actual;
      } else if (value == kNewIdentifier) {
        EXPECT_TRUE(std::regex_match(actual, kUuid)) << context << ": " << key << " " << actual;
      } else {
        EXPECT_EQ(actual, value) << context << ": " << key;
      }
    }
  }
};

TEST_F(LinuxOutsideFiles, AFifoADeviceAHugeFileOrNonUtf8TextCostsOnlyItsValuesAndRunsReadAfresh) {
  const test::TemporaryDirectory healthy_root;
  WriteHealthyMachine(healthy_root.path());
  const std::optional<Values> healthy = Collect(healthy_root.path());
  ASSERT_TRUE(healthy);
  ASSERT_EQ(healthy->at("SystemName"), "Testix Linux");
  ASSERT_EQ(healthy->at("Battery"), R"({ "s": "c", "l": 85.000000 })");
  ASSERT_EQ(healthy->at("InstalledKeyboards"), R"x(["us","de(nodeadkeys)"])x");
  ASSERT_EQ(healthy->at("DeviceGeneratedId"), "stored-id");
  ASSERT_NE(healthy->at("VisitorIdentifierForVendor"), "");
  // The two battery collectors of one run share one reading of the folder;
  // the next run reads it afresh. (The preferences file's reading is
  // LinuxPreferencesStore's test.)
  Write(healthy_root.path() / "sys/class/power_supply/BAT0/status", "Discharging\n");
  Write(healthy_root.path() / "sys/class/power_supply/BAT0/capacity", "37\n");
  const std::optional<Values> later = Collect(healthy_root.path());
  ASSERT_TRUE(later);
  EXPECT_EQ(later->at("BatteryInfo"), R"({ "s": "u", "l": 37.000000 })");
  EXPECT_EQ(later->at("Battery"), R"({ "s": "u", "l": 37.000000 })");

  const std::pair<Hostile, const char*> kinds[] = {{Hostile::kFifo, "a FIFO"},
                                                   {Hostile::kDevice, "a link to /dev/zero"},
                                                   {Hostile::kHuge, "a 300 MB file"},
                                                   {Hostile::kLatin1, "Latin-1 text"}};
  for (const OutsideFile& file : OutsideFiles()) {
    for (const auto& [kind, name] : kinds) {
      const std::string context = std::string(name) + " at " + file.path;
      const test::TemporaryDirectory root;
      WriteHealthyMachine(root.path());
      MakeHostile(root.path() / file.path, kind, file.latin1);
      const std::optional<Values> got = Collect(root.path(), root.path() / file.path);
      ASSERT_TRUE(got) << context << ": the run posted nothing or never ended";
      ExpectValues(
          *got, *healthy,
          kind == Hostile::kLatin1 ? file.latin1_changes.value_or(file.changes) : file.changes,
          context);
    }
  }
}

// Runs that overlap on the library's own threads, through the providers of
// this machine; ThreadSanitizer (make sanitize-thread) reports any data race
// between them.
TEST(LinuxCollectionRuns, OverlapThroughTheRealProvidersWithoutADataRace) {
  test::RecordingUrlSessions sessions;
  const ScopedPlatformOverride in_force(Platform{.url_sessions = &sessions});
  constexpr std::size_t kRuns = 8;
  for (std::size_t i = 0; i < kRuns; ++i) {
    RQBehavior::getInstance("shop-app-01").collectDeviceInformation("session-" + std::to_string(i));
  }
  ASSERT_TRUE(sessions.WaitForTasks(kRuns));
  for (const auto& task : sessions.Tasks()) {
    EXPECT_EQ(nlohmann::json::parse(task.request.http_body)["Variables"].size(), 27u);
  }
}

}  // namespace
}  // namespace rqb
