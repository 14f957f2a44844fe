// Fakes of the device, locale, accessibility, file, preferences and
// application providers, preset to the values of one well-known phone.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "FakePlatform.h"
#include "Platform/Accessibility.h"
#include "Platform/ApplicationServices.h"
#include "Platform/Device.h"
#include "Platform/FileSystem.h"
#include "Platform/LibraryBundle.h"
#include "Platform/OperatingSystem.h"
#include "Platform/Platform.h"
#include "Platform/Preferences.h"
#include "Platform/UserLocale.h"

namespace rqb::test {

class FakeDevice final : public Device {
 public:
  std::optional<std::string> SystemName() const override { return system_name; }
  std::optional<std::string> SystemVersion() const override { return system_version; }
  std::optional<std::string> Name() const override { return name; }
  std::optional<std::string> IdentifierForVendor() const override { return vendor_identifier; }
  bool IsBatteryMonitoringEnabled() const override { return battery_monitoring; }
  void SetBatteryMonitoringEnabled(bool enabled) override;
  long BatteryState() const override;
  float BatteryLevel() const override;
  int QueryMachineName(char* buffer, std::size_t* length) const override;

  std::optional<std::string> system_name = "iOS";
  std::optional<std::string> system_version = "14.3";
  std::optional<std::string> name = "Office iPhone";
  std::optional<std::string> vendor_identifier = "0F4C3E2A-7B1D-4E55-9A7E-3C2D1B0A9F88";
  // What the battery reads while monitoring is on; while it is off the
  // device reads unknown and -1.0, as a real one does.
  long battery_state = kBatteryStateCharging;
  float battery_level = 0.5f;
  bool battery_monitoring = false;
  // Every value the monitoring switch was set to, in order.
  std::vector<bool> monitoring_switches;
  // The query copies as much of `machine` and its terminator as fits; when
  // `machine_query_fails`, it writes nothing and returns -1.
  std::string machine = "iPhone12,1";
  bool machine_query_fails = false;
};

class FakeAccessibility final : public Accessibility {
 public:
  bool IsClosedCaptioningEnabled() const override { return closed_captioning; }
  bool IsGuidedAccessEnabled() const override { return guided_access; }
  bool IsInvertColorsEnabled() const override { return invert_colors; }
  bool IsMonoAudioEnabled() const override { return mono_audio; }
  bool IsVoiceOverRunning() const override { return voice_over; }

  bool closed_captioning = false;
  bool guided_access = false;
  bool invert_colors = false;
  bool mono_audio = false;
  bool voice_over = false;
};

class FakeUserLocale final : public UserLocale {
 public:
  std::optional<std::string> LanguageCode() const override { return language_code; }
  std::optional<std::string> CountryCode() const override { return country_code; }
  std::vector<std::string> PreferredLanguages() const override { return preferred_languages; }

  std::optional<std::string> language_code = "en";
  std::optional<std::string> country_code = "US";
  std::vector<std::string> preferred_languages = {"en-US"};
};

class FakeLibraryBundle final : public LibraryBundle {
 public:
  std::optional<std::string> Version() const override { return version; }

  std::optional<std::string> version = "9.8.7";
};

class FakeFileSystem final : public FileSystem {
 public:
  std::optional<std::string> DocumentsDirectory() const override { return documents_directory; }
  std::optional<std::uint64_t> FreeBytes(const std::string& path) const override;
  bool Exists(const std::string& path) const override;

  std::optional<std::string> documents_directory = "/var/mobile/Documents";
  // Free bytes by path; other paths cannot be examined.
  std::map<std::string, std::uint64_t> free_bytes = {{"/var/mobile/Documents", 52234567680}};
  std::set<std::string> existing_paths;
  // Every path asked about, in order.
  mutable std::vector<std::string> probed_paths;
};

class FakePreferences final : public Preferences {
 public:
  std::optional<PreferenceObject> ObjectForKey(std::string_view key) override;
  void SetString(std::string_view key, std::string_view value) override;
  bool Synchronize() override;
  std::optional<std::vector<std::string>> MergedListForKey(std::string_view key) override;

  std::map<std::string, PreferenceObject, std::less<>> entries = {
      {"DeviceGeneratedId", "0F6E5D4C-3B2A-4918-8765-43210FEDCBA9"}};
  std::map<std::string, std::vector<std::string>, std::less<>> merged_lists = {
      {"AppleKeyboards", {"en_US@sw=QWERTY;hw=Automatic", "emoji@sw=Emoji"}}};
  int strings_set = 0;
  int synchronizations = 0;
  // Entries as they were at the last Synchronize().
  std::map<std::string, PreferenceObject, std::less<>> written;
};

class FakeApplicationServices final : public ApplicationServices {
 public:
  std::optional<std::string> AdvertisingIdentifier() const override {
    return advertising_identifier;
  }
  bool CanMakePayments() const override { return can_make_payments; }
  bool CanOpenUrl(const std::string& url) const override;

  std::optional<std::string> advertising_identifier = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
  bool can_make_payments = true;
  std::set<std::string> handled_schemes;
  // Every URL asked about, in order.
  mutable std::vector<std::string> asked_urls;
};

class FakeOperatingSystem final : public OperatingSystem {
 public:
  OperatingSystemVersion Version() const override { return version; }

  OperatingSystemVersion version = {14, 3, 0};
};

// Every fake above, together. platform() holds them for a
// ScopedPlatformOverride and leaves the other providers to the platform in
// force. Out of the box the collectors report the values of one run on a
// phone charging at 50 per cent with system 14.3.
struct FakeDevicePlatform {
  Platform platform();

  FakeDevice device;
  FakeAccessibility accessibility;
  FakeUserLocale locale;
  FakeLibraryBundle library_bundle;
  FakeFileSystem file_system;
  FakePreferences preferences;
  FakeApplicationServices application;
  FakeOperatingSystem operating_system;
};

// PlatformTest with every fake of FakeDevicePlatform in force as well.
class DevicePlatformTest : public PlatformTest {
 protected:
  FakeDevicePlatform fakes_;

 private:
  ScopedPlatformOverride device_fakes_{fakes_.platform()};
};

// A new empty folder, removed with everything in it at the end of its life.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace rqb::test
