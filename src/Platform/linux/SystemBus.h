// The system D-Bus connection that the Linux providers share, through
// libsystemd's sd-bus, which is loaded when a bus is first there to ask.
#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>

namespace rqb {

// The sd-bus functions the providers call, typed as libsystemd's header
// declares them: F(member, symbol).
#define RQB_SD_BUS_FUNCTIONS(F)                              \
  F(open_system, sd_bus_open_system)                         \
  F(set_method_call_timeout, sd_bus_set_method_call_timeout) \
  F(process, sd_bus_process)                                 \
  F(is_open, sd_bus_is_open)                                 \
  F(flush_close_unref, sd_bus_flush_close_unref)             \
  F(unref, sd_bus_unref)                                     \
  F(call_method, sd_bus_call_method)                         \
  F(get_property_trivial, sd_bus_get_property_trivial)       \
  F(get_property_string, sd_bus_get_property_string)         \
  F(error_free, sd_bus_error_free)                           \
  F(message_unref, sd_bus_message_unref)                     \
  F(message_enter_container, sd_bus_message_enter_container) \
  F(message_exit_container, sd_bus_message_exit_container)   \
  F(message_read_basic, sd_bus_message_read_basic)           \
  F(message_skip, sd_bus_message_skip)

struct SdBusFunctions {
#define RQB_SD_BUS_MEMBER(member, symbol) decltype(&::symbol) member = nullptr;
  RQB_SD_BUS_FUNCTIONS(RQB_SD_BUS_MEMBER)
#undef RQB_SD_BUS_MEMBER
};

// libsystemd's functions, loaded on the first call; nullptr when libsystemd
// cannot be loaded, which the providers treat as a machine without a bus.
// Any thread.
const SdBusFunctions* SdBus();

// One connection to the system bus, kept for the process and lent to one
// caller at a time, so that an sd-bus object is never used by two threads at
// once. A caller that finds it lent out gets a connection of its own, which
// is kept in its place or closed when returned: nobody waits for another's
// call. A connection made before fork() is never used in the child, which
// sd-bus would refuse. libsystemd is loaded only when the bus's socket is
// there.
class SystemBusLease {
 public:
  // The connection, with method calls timing out after `call_timeout_usec`;
  // empty when there is no system bus or no libsystemd.
  explicit SystemBusLease(std::uint64_t call_timeout_usec);
  ~SystemBusLease();

  SystemBusLease(const SystemBusLease&) = delete;
  SystemBusLease& operator=(const SystemBusLease&) = delete;

  sd_bus* get() const { return bus_; }
  explicit operator bool() const { return bus_ != nullptr; }
  // The functions to use the connection with; only while it is not empty.
  const SdBusFunctions& sd() const { return *sd_; }

 private:
  const SdBusFunctions* sd_ = nullptr;
  sd_bus* bus_ = nullptr;
};

}  // namespace rqb
