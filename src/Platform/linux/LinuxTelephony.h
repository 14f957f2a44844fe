// Cellular carriers on Linux: the modems that ModemManager reports on the
// system D-Bus.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/Telephony.h"

namespace rqb {

// What the telephony service tells about one modem.
struct ModemFacts {
  std::string object_path;
  // The home carrier's name from the SIM card (its service provider name).
  std::optional<std::string> sim_operator_name;
  // The name of the network the modem is registered on.
  std::optional<std::string> network_operator_name;
};

// One carrier per modem, keyed by the modem's object path, in the service's
// order. The SIM's name is the carrier's; without one, the network's name;
// without either, no name. VoIP permission is not reported: false.
CarrierDictionary CarriersOfModems(const std::vector<ModemFacts>& modems);

class LinuxTelephony final : public Telephony {
 public:
  // Nothing when there is no system bus or no ModemManager on it; asks with
  // time-outs of half a second, on the shared system-bus connection.
  std::optional<CarrierDictionary> ServiceSubscriberCellularProviders() override;
};

}  // namespace rqb
