// The device on Linux: the running system, the host name, an identifier
// derived from the machine identifier, the battery in sysfs and uname's
// machine name.
#pragma once

#include <sys/utsname.h>

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Device.h"
#include "Platform/ForkGate.h"
#include "Platform/linux/OsRelease.h"

namespace rqb {

struct BatteryReading {
  long state = kBatteryStateUnknown;
  float level = -1.0f;
};

// The battery below `power_supply_root`, a folder laid out like
// /sys/class/power_supply: one folder per supply with the attribute files
// "type", "status", "capacity" and so on. The first supply of type "Battery"
// in name order counts, leaving out empty slots ("present" 0) and the
// batteries of peripherals ("scope" Device). Status "Discharging" is
// unplugged, "Charging" and "Not charging" (plugged in, held below full) are
// charging, "Full" is full. The level is "capacity" in per cent, else the
// ratio of energy_now to energy_full or of charge_now to charge_full. No
// battery, or an attribute that cannot be read: unknown state, level -1.0.
BatteryReading ReadBattery(const std::string& power_supply_root);

// The identifier for `application` on the machine whose machine-id(5) file
// holds `machine_id`: an HMAC-SHA256 keyed with the machine identifier, shaped
// as an upper-case version-4 UUID text, so that it is stable per machine and
// application and the machine identifier cannot be read back from it.
// Nothing when `machine_id` is not 32 hexadecimal digits (a missing file, or
// "uninitialized" during first boot), or when libcrypto cannot be loaded.
std::optional<std::string> VendorIdentifier(std::string_view machine_id,
                                            std::string_view application);

class LinuxDevice final : public Device {
 public:
  // Reads the machine's files below `root`: "" for this machine, another
  // folder laid out the same way for tests. The running system of this
  // machine is read once per process (ReadRunningSystem()); below another
  // root it is read on every call. The battery and uname(2) are read once
  // per collection run (RunReadings), else on every call.
  explicit LinuxDevice(std::string root = "");

  std::optional<std::string> SystemName() const override;
  std::optional<std::string> SystemVersion() const override;
  // The host name, uname(2)'s nodename.
  std::optional<std::string> Name() const override;
  // VendorIdentifier() of /etc/machine-id (else /var/lib/dbus/machine-id) and
  // ApplicationName().
  std::optional<std::string> IdentifierForVendor() const override;
  bool IsBatteryMonitoringEnabled() const override;
  void SetBatteryMonitoringEnabled(bool enabled) override;
  // ReadBattery() of /sys/class/power_supply while monitoring is on.
  long BatteryState() const override;
  float BatteryLevel() const override;
  // uname(2)'s machine, e.g. "x86_64".
  int QueryMachineName(char* buffer, std::size_t* length) const override;

 private:
  RunningSystem ReadSystem() const;
  BatteryReading Battery() const;
  std::optional<utsname> Names() const;

  const std::string root_;
  std::atomic<bool> battery_monitoring_{false};
  // The last identifier for the vendor and what it was computed from.
  struct ComputedIdentifier {
    ForkSafeMutex mutex;
    std::string machine_id;                            // guarded by mutex
    std::string application;                           // guarded by mutex
    std::optional<std::optional<std::string>> result;  // guarded by mutex; none yet
  };
  mutable ComputedIdentifier last_identifier_;
};

}  // namespace rqb
