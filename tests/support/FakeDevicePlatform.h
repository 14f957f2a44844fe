// Fakes of the device, locale, accessibility, file, preferences and
// application providers, preset to the values of one well-known phone.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <set>

#include "FakePlatform.h"
#include "Platform/Accessibility.h"
#include "Platform/ApplicationServices.h"
#include "Platform/Device.h"
#include "Platform/FileSystem.h"
#include "Platform/LibraryBundle.h"
#include "Platform/Preferences.h"
#include "Platform/UserLocale.h"

namespace rqb::test {

struct FakeDevice final : Device {
  std::optional<std::string> SystemName() const override { return system_name; }
  std::optional<std::string> SystemVersion() const override { return system_version; }
  std::optional<std::string> Name() const override { return name; }
  std::optional<std::string> IdentifierForVendor() const override { return vendor_identifier; }
  bool IsBatteryMonitoringEnabled() const override { return battery_monitoring; }
  void SetBatteryMonitoringEnabled(bool enabled) override { battery_monitoring = enabled; }
  // While monitoring is off the device reads unknown and -1.0, as a real one does.
  long BatteryState() const override { return battery_monitoring ? battery_state : 0; }
  float BatteryLevel() const override { return battery_monitoring ? battery_level : -1.0f; }
  // Copies as much of `machine` and its terminator as fits, like the system
  // call; when `machine_query_fails`, writes nothing.
  int QueryMachineName(char* buffer, std::size_t* length) const override {
    if (machine_query_fails) return -1;
    *length = std::min(machine.size() + 1, *length);
    std::memcpy(buffer, machine.c_str(), *length);
    return *length == machine.size() + 1 ? 0 : -1;
  }

  std::optional<std::string> system_name = "iOS", system_version = "14.3", name = "Office iPhone",
                             vendor_identifier = "0F4C3E2A-7B1D-4E55-9A7E-3C2D1B0A9F88";
  long battery_state = kBatteryStateCharging;
  float battery_level = 0.5f;
  bool battery_monitoring = false, machine_query_fails = false;
  std::string machine = "iPhone12,1";
};

struct FakeAccessibility final : Accessibility {
  bool IsClosedCaptioningEnabled() const override { return closed_captioning; }
  bool IsGuidedAccessEnabled() const override { return guided_access; }
  bool IsInvertColorsEnabled() const override { return invert_colors; }
  bool IsMonoAudioEnabled() const override { return mono_audio; }
  bool IsVoiceOverRunning() const override { return voice_over; }

  bool closed_captioning = false, guided_access = false, invert_colors = false, mono_audio = false,
       voice_over = false;
};

struct FakeUserLocale final : UserLocale {
  std::optional<std::string> LanguageCode() const override { return language_code; }
  std::optional<std::string> CountryCode() const override { return country_code; }
  std::vector<std::string> PreferredLanguages() const override { return preferred_languages; }

  std::optional<std::string> language_code = "en", country_code = "US";
  std::vector<std::string> preferred_languages = {"en-US"};
};

struct FakeLibraryBundle final : LibraryBundle {
  std::optional<std::string> Version() const override { return version; }
  std::optional<std::string> version = "9.8.7";
};

struct FakeFileSystem final : FileSystem {
  std::optional<std::string> DocumentsDirectory() const override { return documents_directory; }
  // Only the documents directory can be examined.
  std::optional<std::uint64_t> FreeBytes(const std::string& path) const override {
    return path == documents_directory ? free_bytes : std::nullopt;
  }
  bool Exists(const std::string& path) const override {
    probed_paths.push_back(path);
    return existing_paths.contains(path);
  }

  std::optional<std::string> documents_directory = "/var/mobile/Documents";
  std::optional<std::uint64_t> free_bytes = 52234567680;
  std::set<std::string> existing_paths;
  mutable std::vector<std::string> probed_paths;  // in the order asked
};

// Holds one stored identifier; what is set is not kept.
struct FakePreferences final : Preferences {
  std::optional<PreferenceObject> ObjectForKey(std::string_view key) override {
    return key == "DeviceGeneratedId" ? generated_id : std::nullopt;
  }
  void SetString(std::string_view, std::string_view) override {}
  bool Synchronize() override { return true; }
  std::optional<std::vector<std::string>> MergedListForKey(std::string_view key) override {
    return key == "AppleKeyboards" ? keyboards : std::nullopt;
  }

  std::optional<PreferenceObject> generated_id = "0F6E5D4C-3B2A-4918-8765-43210FEDCBA9";
  std::optional<std::vector<std::string>> keyboards =
      std::vector<std::string>{"en_US@sw=QWERTY;hw=Automatic", "emoji@sw=Emoji"};
};

struct FakeApplicationServices final : ApplicationServices {
  std::optional<std::string> AdvertisingIdentifier() const override { return advertising_id; }
  bool CanMakePayments() const override { return can_make_payments; }
  bool CanOpenUrl(const std::string& url) const override { return handled_urls.contains(url); }

  std::optional<std::string> advertising_id = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
  bool can_make_payments = true;
  std::set<std::string> handled_urls;
};

// Every fake above, together. platform() holds them for a
// ScopedPlatformOverride and leaves the other providers to the platform in
// force. Out of the box the collectors report the values of one run on a
// phone charging at 50 per cent with system 14.3.
struct FakeDevicePlatform {
  Platform platform() {
    return {.operating_system = &operating_system,
            .device = &device,
            .accessibility = &accessibility,
            .locale = &locale,
            .library_bundle = &library_bundle,
            .file_system = &file_system,
            .preferences = &preferences,
            .application = &application};
  }

  FakeDevice device;
  FakeAccessibility accessibility;
  FakeUserLocale locale;
  FakeLibraryBundle library_bundle;
  FakeFileSystem file_system;
  FakePreferences preferences;
  FakeApplicationServices application;
  FixedOperatingSystem operating_system{"14.3"};
};

// PlatformTest with every fake of FakeDevicePlatform in force as well.
struct DevicePlatformTest : PlatformTest {
  FakeDevicePlatform fakes_;
  ScopedPlatformOverride device_fakes_{fakes_.platform()};
};

}  // namespace rqb::test
