#include "Platform/linux/LinuxDevice.h"

#include <limits.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <utility>
#include <vector>

#include "Platform/RunReadings.h"
#include "Platform/Uuid.h"
#include "Platform/linux/LinuxEnvironment.h"
#include "Platform/linux/RuntimeLibrary.h"
#include "Platform/linux/TlsLibrary.h"
#include "Utils/Text/Utf8.h"

namespace rqb {
namespace {

constexpr const char* kPowerSupplyRoot = "/sys/class/power_supply";
constexpr std::array<const char*, 2> kMachineIdFiles = {"/etc/machine-id",
                                                        "/var/lib/dbus/machine-id"};
// Binds the derived identifier to this use, so that it matches no other value
// derived from the same machine identifier.
constexpr std::string_view kVendorIdentifierLabel = "RQBehavior identifier for vendor\n";

// A sysfs attribute's text without its trailing newline; "" when unreadable.
std::string ReadAttribute(const std::filesystem::path& path) {
  std::string text = ReadFileBytes(path, kMaxSysfsFileBytes);
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  return text;
}

std::optional<double> ReadNumber(const std::filesystem::path& path) {
  const std::string text = ReadAttribute(path);
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
  return value;
}

std::optional<float> ReadLevel(const std::filesystem::path& supply) {
  if (const std::optional<double> capacity = ReadNumber(supply / "capacity")) {
    return static_cast<float>(std::clamp(*capacity, 0.0, 100.0)) / 100.0f;
  }
  for (const char* kind : {"energy", "charge"}) {
    const std::optional<double> now = ReadNumber(supply / (std::string(kind) + "_now"));
    const std::optional<double> full = ReadNumber(supply / (std::string(kind) + "_full"));
    if (now && full && *full > 0) return static_cast<float>(std::clamp(*now / *full, 0.0, 1.0));
  }
  return std::nullopt;
}

long StateOfStatus(std::string_view status) {
  if (status == "Discharging") return kBatteryStateUnplugged;
  if (status == "Charging" || status == "Not charging") return kBatteryStateCharging;
  if (status == "Full") return kBatteryStateFull;
  return kBatteryStateUnknown;
}

std::optional<std::array<unsigned char, 16>> ParseMachineId(std::string_view text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.remove_suffix(1);
  if (text.size() != 32) return std::nullopt;
  std::array<unsigned char, 16> bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto [end, error] =
        std::from_chars(text.data() + 2 * i, text.data() + 2 * i + 2, bytes[i], 16);
    if (error != std::errc() || end != text.data() + 2 * i + 2) return std::nullopt;
  }
  return bytes;
}

std::optional<std::string> NonEmptyText(std::string text) {
  if (text.empty()) return std::nullopt;
  return TextOrNil(std::move(text));
}

}  // namespace

BatteryReading ReadBattery(const std::string& power_supply_root) {
  std::error_code error;
  std::vector<std::filesystem::path> supplies;
  for (const auto& entry : std::filesystem::directory_iterator(power_supply_root, error)) {
    supplies.push_back(entry.path());
  }
  std::sort(supplies.begin(), supplies.end());
  for (const std::filesystem::path& supply : supplies) {
    if (ReadAttribute(supply / "type") != "Battery") continue;
    if (ReadAttribute(supply / "present") == "0") continue;
    if (ReadAttribute(supply / "scope") == "Device") continue;
    return {StateOfStatus(ReadAttribute(supply / "status")), ReadLevel(supply).value_or(-1.0f)};
  }
  return {};
}

std::optional<std::string> VendorIdentifier(std::string_view machine_id,
                                            std::string_view application) {
  const std::optional<std::array<unsigned char, 16>> key = ParseMachineId(machine_id);
  if (!key) return std::nullopt;
  std::string message(kVendorIdentifierLabel);
  message += application;
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int digest_length = 0;
  // Without libcrypto there is no identifier, as on a device without one.
  const CryptoFunctions* const crypto = InitTlsLibrary();
  if (crypto == nullptr) return std::nullopt;
  const LibrarySection tls;
  if (crypto->hmac(crypto->sha256(), key->data(), static_cast<int>(key->size()),
                   reinterpret_cast<const unsigned char*>(message.data()), message.size(), digest,
                   &digest_length) == nullptr ||
      digest_length < 16) {
    return std::nullopt;
  }
  std::array<std::uint8_t, 16> bytes;
  std::copy_n(digest, bytes.size(), bytes.begin());
  return FormatUuidV4(bytes);
}

LinuxDevice::LinuxDevice(std::string root) : root_(std::move(root)) {}

RunningSystem LinuxDevice::ReadSystem() const {
  return root_.empty() ? ReadRunningSystem() : ReadRunningSystemAt(root_);
}

std::optional<std::string> LinuxDevice::SystemName() const {
  return NonEmptyText(ReadSystem().name);
}

std::optional<std::string> LinuxDevice::SystemVersion() const {
  return NonEmptyText(ReadSystem().version);
}

std::optional<std::string> LinuxDevice::Name() const {
  // The nodename holds the longest host name the kernel allows (64 bytes).
  const std::optional<utsname> names = Names();
  if (!names) return std::nullopt;
  return NonEmptyText(names->nodename);
}

std::optional<std::string> LinuxDevice::IdentifierForVendor() const {
  for (const char* path : kMachineIdFiles) {
    std::string text = ReadFileBytes(root_ + path, kMaxSettingsFileBytes);
    if (text.empty()) continue;
    // The file is read every time; the keyed hash of what it holds is
    // computed again only when that, or the program's name, changed.
    std::string application = ApplicationName();
    std::lock_guard lock(last_identifier_.mutex);
    if (!last_identifier_.result || last_identifier_.machine_id != text ||
        last_identifier_.application != application) {
      last_identifier_.result = VendorIdentifier(text, application);
      last_identifier_.machine_id = std::move(text);
      last_identifier_.application = std::move(application);
    }
    return *last_identifier_.result;
  }
  return std::nullopt;
}

bool LinuxDevice::IsBatteryMonitoringEnabled() const { return battery_monitoring_.load(); }

void LinuxDevice::SetBatteryMonitoringEnabled(bool enabled) { battery_monitoring_.store(enabled); }

BatteryReading LinuxDevice::Battery() const {
  return RunReadings::Shared<BatteryReading>(&battery_monitoring_,
                                             [&] { return ReadBattery(root_ + kPowerSupplyRoot); });
}

std::optional<utsname> LinuxDevice::Names() const {
  return RunReadings::Shared<std::optional<utsname>>(&root_, []() -> std::optional<utsname> {
    utsname names{};
    if (uname(&names) != 0) return std::nullopt;
    return names;
  });
}

long LinuxDevice::BatteryState() const {
  if (!battery_monitoring_.load()) return kBatteryStateUnknown;
  return Battery().state;
}

float LinuxDevice::BatteryLevel() const {
  if (!battery_monitoring_.load()) return -1.0f;
  return Battery().level;
}

int LinuxDevice::QueryMachineName(char* buffer, std::size_t* length) const {
  const std::optional<utsname> names = Names();
  if (!names) return -1;
  const std::size_t needed = std::strlen(names->machine) + 1;
  const std::size_t written = std::min(needed, *length);
  std::memcpy(buffer, names->machine, written);
  *length = written;
  return written == needed ? 0 : -1;
}

}  // namespace rqb
