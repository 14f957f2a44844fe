#include "FakeDevicePlatform.h"

#include <stdlib.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace rqb::test {

void FakeDevice::SetBatteryMonitoringEnabled(bool enabled) {
  battery_monitoring = enabled;
  monitoring_switches.push_back(enabled);
}

long FakeDevice::BatteryState() const {
  return battery_monitoring ? battery_state : kBatteryStateUnknown;
}

float FakeDevice::BatteryLevel() const { return battery_monitoring ? battery_level : -1.0f; }

int FakeDevice::QueryMachineName(char* buffer, std::size_t* length) const {
  if (machine_query_fails) return -1;
  const std::size_t needed = machine.size() + 1;
  const std::size_t written = std::min(needed, *length);
  std::memcpy(buffer, machine.c_str(), written);
  *length = written;
  return written == needed ? 0 : -1;
}

std::optional<std::uint64_t> FakeFileSystem::FreeBytes(const std::string& path) const {
  const auto found = free_bytes.find(path);
  if (found == free_bytes.end()) return std::nullopt;
  return found->second;
}

bool FakeFileSystem::Exists(const std::string& path) const {
  probed_paths.push_back(path);
  return existing_paths.contains(path);
}

std::optional<PreferenceObject> FakePreferences::ObjectForKey(std::string_view key) {
  const auto found = entries.find(key);
  if (found == entries.end()) return std::nullopt;
  return found->second;
}

void FakePreferences::SetString(std::string_view key, std::string_view value) {
  ++strings_set;
  entries.insert_or_assign(std::string(key), std::string(value));
}

bool FakePreferences::Synchronize() {
  ++synchronizations;
  written = entries;
  return true;
}

std::optional<std::vector<std::string>> FakePreferences::MergedListForKey(std::string_view key) {
  const auto found = merged_lists.find(key);
  if (found == merged_lists.end()) return std::nullopt;
  return found->second;
}

bool FakeApplicationServices::CanOpenUrl(const std::string& url) const {
  asked_urls.push_back(url);
  return handled_schemes.contains(url.substr(0, url.find(':')));
}

Platform FakeDevicePlatform::platform() {
  Platform fakes;
  fakes.device = &device;
  fakes.accessibility = &accessibility;
  fakes.locale = &locale;
  fakes.library_bundle = &library_bundle;
  fakes.file_system = &file_system;
  fakes.preferences = &preferences;
  fakes.application = &application;
  fakes.operating_system = &operating_system;
  return fakes;
}

TemporaryDirectory::TemporaryDirectory() {
  std::string pattern =
      (std::filesystem::temp_directory_path() / "rqbehavior-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace rqb::test
