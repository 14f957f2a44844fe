#include "Platform/linux/LinuxTelephony.h"

#include <systemd/sd-bus.h>

#include <cstdlib>
#include <memory>
#include <string_view>

#include "Platform/linux/SystemBus.h"

namespace rqb {
namespace {

constexpr char kService[] = "org.freedesktop.ModemManager1";
constexpr char kManagerPath[] = "/org/freedesktop/ModemManager1";
constexpr std::string_view kModemInterface = "org.freedesktop.ModemManager1.Modem";
constexpr std::string_view kModem3gppInterface = "org.freedesktop.ModemManager1.Modem.Modem3gpp";
constexpr char kSimInterface[] = "org.freedesktop.ModemManager1.Sim";
constexpr std::uint64_t kCallTimeoutUsec = 500'000;

struct MessageDeleter {
  const SdBusFunctions* sd;
  void operator()(sd_bus_message* message) const { sd->message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageDeleter>;

// The text in a variant of type `type` ("s" or "o"); the variant is consumed
// either way.
std::optional<std::string> ReadVariantText(const SdBusFunctions& sd, sd_bus_message* message,
                                           const char* type) {
  if (sd.message_enter_container(message, 'v', type) <= 0) {
    sd.message_skip(message, "v");
    return std::nullopt;
  }
  const char* text = nullptr;
  std::optional<std::string> result;
  if (sd.message_read_basic(message, type[0], &text) > 0 && text != nullptr) result = text;
  sd.message_exit_container(message);
  return result;
}

// One object of GetManagedObjects' a{oa{sa{sv}}}: its interfaces and their
// properties. Fills `modem` and tells whether the object is a modem.
bool ReadManagedObject(const SdBusFunctions& sd, sd_bus_message* reply, ModemFacts& modem,
                       std::string& sim_path) {
  bool is_modem = false;
  if (sd.message_enter_container(reply, 'a', "{sa{sv}}") <= 0) return false;
  while (sd.message_enter_container(reply, 'e', "sa{sv}") > 0) {
    const char* interface_name = nullptr;
    if (sd.message_read_basic(reply, 's', &interface_name) <= 0) return false;
    const std::string_view interface(interface_name);
    is_modem = is_modem || interface == kModemInterface;
    if (sd.message_enter_container(reply, 'a', "{sv}") <= 0) return false;
    while (sd.message_enter_container(reply, 'e', "sv") > 0) {
      const char* property_name = nullptr;
      if (sd.message_read_basic(reply, 's', &property_name) <= 0) return false;
      const std::string_view property(property_name);
      if (interface == kModemInterface && property == "Sim") {
        sim_path = ReadVariantText(sd, reply, "o").value_or("/");
      } else if (interface == kModem3gppInterface && property == "OperatorName") {
        modem.network_operator_name = ReadVariantText(sd, reply, "s");
      } else {
        sd.message_skip(reply, "v");
      }
      sd.message_exit_container(reply);
    }
    sd.message_exit_container(reply);
    sd.message_exit_container(reply);
  }
  sd.message_exit_container(reply);
  return is_modem;
}

std::optional<std::string> SimOperatorName(const SdBusFunctions& sd, sd_bus* bus,
                                           const std::string& sim_path) {
  if (sim_path.empty() || sim_path == "/") return std::nullopt;
  sd_bus_error error{};  // SD_BUS_ERROR_NULL, without its C99 compound literal
  char* name = nullptr;
  std::optional<std::string> result;
  if (sd.get_property_string(bus, kService, sim_path.c_str(), kSimInterface, "OperatorName", &error,
                             &name) >= 0 &&
      name != nullptr) {
    result = name;
  }
  std::free(name);
  sd.error_free(&error);
  return result;
}

std::optional<std::vector<ModemFacts>> ReadModems() {
  const SystemBusLease bus(kCallTimeoutUsec);
  if (!bus) return std::nullopt;
  const SdBusFunctions& sd = bus.sd();

  sd_bus_error error{};  // SD_BUS_ERROR_NULL, without its C99 compound literal
  sd_bus_message* received = nullptr;
  const int called =
      sd.call_method(bus.get(), kService, kManagerPath, "org.freedesktop.DBus.ObjectManager",
                     "GetManagedObjects", &error, &received, "");
  sd.error_free(&error);
  if (called < 0) return std::nullopt;
  const Message reply(received, MessageDeleter{&sd});

  std::vector<ModemFacts> modems;
  if (sd.message_enter_container(reply.get(), 'a', "{oa{sa{sv}}}") <= 0) return std::nullopt;
  while (sd.message_enter_container(reply.get(), 'e', "oa{sa{sv}}") > 0) {
    const char* path = nullptr;
    if (sd.message_read_basic(reply.get(), 'o', &path) <= 0) return std::nullopt;
    ModemFacts modem{path, std::nullopt, std::nullopt};
    std::string sim_path;
    if (ReadManagedObject(sd, reply.get(), modem, sim_path)) {
      modem.sim_operator_name = SimOperatorName(sd, bus.get(), sim_path);
      modems.push_back(std::move(modem));
    }
    sd.message_exit_container(reply.get());
  }
  return modems;
}

std::optional<std::string> NonEmpty(const std::optional<std::string>& text) {
  return text && !text->empty() ? text : std::nullopt;
}

}  // namespace

CarrierDictionary CarriersOfModems(const std::vector<ModemFacts>& modems) {
  CarrierDictionary carriers;
  for (const ModemFacts& modem : modems) {
    Carrier carrier;
    carrier.carrier_name = NonEmpty(modem.sim_operator_name);
    if (!carrier.carrier_name) carrier.carrier_name = NonEmpty(modem.network_operator_name);
    carriers.emplace_back(modem.object_path, std::move(carrier));
  }
  return carriers;
}

std::optional<CarrierDictionary> LinuxTelephony::ServiceSubscriberCellularProviders() {
  const std::optional<std::vector<ModemFacts>> modems = ReadModems();
  if (!modems) return std::nullopt;
  return CarriersOfModems(*modems);
}

}  // namespace rqb
