// The system D-Bus connection that the Linux providers share.
#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>

namespace rqb {

// One connection to the system bus, kept for the process and lent to one
// caller at a time, so that an sd-bus object is never used by two threads at
// once. A caller that finds it lent out gets a connection of its own, which
// is kept in its place or closed when returned: nobody waits for another's
// call. A connection made before fork() is never used in the child, which
// sd-bus would refuse.
class SystemBusLease {
 public:
  // The connection, with method calls timing out after `call_timeout_usec`;
  // empty when there is no system bus.
  explicit SystemBusLease(std::uint64_t call_timeout_usec);
  ~SystemBusLease();

  SystemBusLease(const SystemBusLease&) = delete;
  SystemBusLease& operator=(const SystemBusLease&) = delete;

  sd_bus* get() const { return bus_; }
  explicit operator bool() const { return bus_ != nullptr; }

 private:
  sd_bus* bus_ = nullptr;
};

}  // namespace rqb
