// Upload bodies as a device writes them: pretty-printed, every value a
// string, fragments escaped inside it, "/" written "\/".
#pragma once

#include <httplib.h>

#include <string>

namespace rqbservice::testing {

inline std::string DeviceBody(const std::string& session, const std::string& app = "shop-app-01",
                              const std::string& device_id = "0F6E5D4C-3B2A-4918-8765-43210FEDCBA9",
                              const std::string& device_name = "Office iPhone") {
  // clang-format off
  return R"({
  "Variables" : {
    "Platform" : "iOS",
    "Battery" : "{ \"s\": \"c\", \"l\": 50.000000 }",
    "Location" : "{ \"lat\": -23.5505, \"lot\": -46.6333, \"alt\": 760.5, \"ts\": 2021-01-21T14:03:07-0300, \"hac\": 65, \"vac\": 10, \"c\": 181.5, \"s\": 0.75 }",
    "Carrier" : "[\"Alpha\",\"Beta\"]",
    "CarrierAllowsVoip" : "{ \"Alpha\": true, \"Beta\": false }",
    "ConnectedViaWifi" : "true",
    "FreeDiskSpace" : "52234567680",
    "SDKVersion" : "3.0\/2",
    "DeviceName" : ")" + device_name + R"(",
    "DeviceGeneratedId" : ")" + device_id + R"(",
    "VisitorIdentifierForVendor" : "0F4C3E2A-7B1D-4E55-9A7E-3C2D1B0A9F88"
  },
  "SessionID" : ")" + session + R"(",
  "App" : ")" + app + R"("
})";
  // clang-format on
}

inline constexpr char kDeviceContentType[] = "application/json; charset=UTF-8";

// Uploads `body` to the service as a device does.
inline httplib::Result Upload(httplib::SSLClient& client, const std::string& body,
                              const char* content_type = kDeviceContentType) {
  return client.Post("/api/profiler/variables", body, content_type);
}

}  // namespace rqbservice::testing
