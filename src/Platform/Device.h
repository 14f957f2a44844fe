// What the device says about itself: its system, its name, the identifier
// its vendor's applications share, its battery and its hardware machine name.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace rqb {

// Battery states as the device reports them. Readings outside this range are
// possible and mean "unknown" too.
enum BatteryState : long {
  kBatteryStateUnknown = 0,
  kBatteryStateUnplugged = 1,
  kBatteryStateCharging = 2,
  kBatteryStateFull = 3,
};

// All methods may be called from any thread, concurrently, and never throw.
// Texts are well-formed UTF-8; nothing means the device cannot tell.
class Device {
 public:
  Device() = default;
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;
  virtual ~Device() = default;

  // The running system's name and version, e.g. "Debian GNU/Linux" and "12".
  // The version is the same reading that OperatingSystem::Version() parses.
  virtual std::optional<std::string> SystemName() const = 0;
  virtual std::optional<std::string> SystemVersion() const = 0;
  // The name the user gave the device.
  virtual std::optional<std::string> Name() const = 0;
  // The identifier shared by this vendor's applications on this device, as
  // canonical upper-case UUID text.
  virtual std::optional<std::string> IdentifierForVendor() const = 0;

  // Battery monitoring is one process-wide switch, off at start. While it is
  // off the state reads kBatteryStateUnknown and the level -1.0.
  virtual bool IsBatteryMonitoringEnabled() const = 0;
  virtual void SetBatteryMonitoringEnabled(bool enabled) = 0;
  // One of BatteryState, or another number the device reports.
  virtual long BatteryState() const = 0;
  // The charge as a fraction from 0.0 to 1.0, or -1.0 when unknown.
  virtual float BatteryLevel() const = 0;

  // The hardware machine name (e.g. "x86_64"), asked the way the system call
  // is: writes at most `*length` bytes of the zero-terminated name into
  // `buffer` and sets `*length` to the bytes written. When the name does not
  // fit, the buffer may hold a prefix without a terminator. Returns 0 on
  // success and -1 on failure, when the buffer may be left unwritten.
  virtual int QueryMachineName(char* buffer, std::size_t* length) const = 0;
};

}  // namespace rqb
