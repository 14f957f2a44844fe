// The cellular subscriptions of the device and their carriers.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace rqb {

struct Carrier {
  // The carrier's name as the subscription reports it; nothing when unknown.
  std::optional<std::string> carrier_name;
  // Whether the carrier allows voice over IP; false when unknown.
  bool allows_voip = false;
};

// Carriers by service identifier, in the order the provider enumerates them.
using CarrierDictionary = std::vector<std::pair<std::string, Carrier>>;

class Telephony {
 public:
  Telephony() = default;
  Telephony(const Telephony&) = delete;
  Telephony& operator=(const Telephony&) = delete;
  virtual ~Telephony() = default;

  // One entry per cellular subscription; nothing when the system offers no
  // telephony information at all. Any thread; never blocks for long.
  virtual std::optional<CarrierDictionary> ServiceSubscriberCellularProviders() = 0;
};

}  // namespace rqb
