// The baseline of a collection run: a program that makes only the system
// reads a run needs, the way a small program written for them would, with
// ICU and nlohmann-json linked and OpenSSL's libcrypto and libsystemd loaded
// when first needed, as the library links and loads them.
//
// Each pass reads: the system bus (one connection kept, as a run may keep
// one; when there is no bus, a look for its socket per pass), with
// the location service's accuracy level and the modem list; the locale, the
// host's time zone and a calendar of the locale's week rules (what a date
// formatter would be made with; with no location there is no date to
// format); uname (model and host name); the power-supply class; the
// preferences file; the machine identifier and its HMAC; one netlink route
// dump with the egress device's uevent; user-dirs.dirs and statvfs of the
// documents folder; the keyboard configuration; the /sys/class/net scan for
// wireless interfaces. os-release is read in the first pass only: a run reads
// it once per process too.
//
//   rqbehavior-raw-reads runs N        first pass and median of N more, in us
//   rqbehavior-raw-reads mark warm|cold  one pass between trace markers
//   rqbehavior-raw-reads callgrind warm|cold  one pass in rqb_bench_measured_pass
#include <dirent.h>
#include <dlfcn.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <systemd/sd-bus.h>
#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <thread>

#include "BenchSupport.h"
#include "Platform/linux/RuntimeSonames.h"

namespace {

using rqb::bench::Median;
using rqb::bench::TimeUs;

// A function of a shared object loaded on first use, as `Function`.
template <typename Function>
Function* LoadedFunction(const char* soname, const char* symbol) {
  void* library = dlopen(soname, RTLD_NOW | RTLD_LOCAL);
  return library != nullptr ? reinterpret_cast<Function*>(dlsym(library, symbol)) : nullptr;
}

struct SdBus {
  decltype(&sd_bus_open_system) open_system;
  decltype(&sd_bus_set_method_call_timeout) set_method_call_timeout;
  decltype(&sd_bus_get_property_trivial) get_property_trivial;
  decltype(&sd_bus_call_method) call_method;
  decltype(&sd_bus_error_free) error_free;
  decltype(&sd_bus_message_unref) message_unref;
};

const SdBus& LoadedSdBus() {
  static const SdBus sd{
      LoadedFunction<decltype(sd_bus_open_system)>(RQB_LIBSYSTEMD_SONAME, "sd_bus_open_system"),
      LoadedFunction<decltype(sd_bus_set_method_call_timeout)>(RQB_LIBSYSTEMD_SONAME,
                                                               "sd_bus_set_method_call_timeout"),
      LoadedFunction<decltype(sd_bus_get_property_trivial)>(RQB_LIBSYSTEMD_SONAME,
                                                            "sd_bus_get_property_trivial"),
      LoadedFunction<decltype(sd_bus_call_method)>(RQB_LIBSYSTEMD_SONAME, "sd_bus_call_method"),
      LoadedFunction<decltype(sd_bus_error_free)>(RQB_LIBSYSTEMD_SONAME, "sd_bus_error_free"),
      LoadedFunction<decltype(sd_bus_message_unref)>(RQB_LIBSYSTEMD_SONAME, "sd_bus_message_unref"),
  };
  return sd;
}

struct Crypto {
  decltype(&HMAC) hmac;
  decltype(&EVP_sha256) sha256;
};

const Crypto& LoadedCrypto() {
  static const Crypto crypto{
      LoadedFunction<decltype(HMAC)>(RQB_LIBCRYPTO_SONAME, "HMAC"),
      LoadedFunction<decltype(EVP_sha256)>(RQB_LIBCRYPTO_SONAME, "EVP_sha256"),
  };
  return crypto;
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::string ConfigHome() {
  if (const char* config = std::getenv("XDG_CONFIG_HOME"); config != nullptr && *config != '\0') {
    return config;
  }
  const char* home = std::getenv("HOME");
  return std::string(home != nullptr ? home : "") + "/.config";
}

// The default IPv4 route's egress interface (lowest metric, outside the
// local table, link not down), from one dump.
int DefaultRouteInterface() {
  const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
  if (fd < 0) return 0;
  struct {
    nlmsghdr header;
    rtmsg route;
  } request{};
  request.header.nlmsg_len = sizeof request;
  request.header.nlmsg_type = RTM_GETROUTE;
  request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  request.header.nlmsg_seq = 1;
  request.route.rtm_family = AF_INET;
  int best_interface = 0;
  std::uint32_t best_metric = UINT32_MAX;
  if (send(fd, &request, sizeof request, 0) == static_cast<ssize_t>(sizeof request)) {
    alignas(nlmsghdr) char buffer[32 * 1024];
    for (bool done = false; !done;) {
      const ssize_t got = recv(fd, buffer, sizeof buffer, 0);
      if (got <= 0) break;
      for (std::size_t offset = 0; offset + sizeof(nlmsghdr) <= static_cast<std::size_t>(got);) {
        const auto* message = reinterpret_cast<const nlmsghdr*>(buffer + offset);
        if (message->nlmsg_len < sizeof(nlmsghdr) ||
            offset + message->nlmsg_len > static_cast<std::size_t>(got)) {
          break;
        }
        offset += NLMSG_ALIGN(message->nlmsg_len);
        if (message->nlmsg_type == NLMSG_DONE || message->nlmsg_type == NLMSG_ERROR) done = true;
        if (message->nlmsg_type != RTM_NEWROUTE) continue;
        const auto* route = static_cast<const rtmsg*>(NLMSG_DATA(message));
        if (route->rtm_dst_len != 0 || route->rtm_type != RTN_UNICAST ||
            route->rtm_table == RT_TABLE_LOCAL || (route->rtm_flags & RTNH_F_LINKDOWN) != 0) {
          continue;
        }
        int interface = 0;
        std::uint32_t metric = 0;
        int attributes_length = static_cast<int>(RTM_PAYLOAD(message));
        for (const rtattr* attribute = RTM_RTA(route); RTA_OK(attribute, attributes_length);
             attribute = RTA_NEXT(attribute, attributes_length)) {
          if (attribute->rta_type == RTA_OIF) std::memcpy(&interface, RTA_DATA(attribute), 4);
          if (attribute->rta_type == RTA_PRIORITY) std::memcpy(&metric, RTA_DATA(attribute), 4);
        }
        if (metric < best_metric) {
          best_metric = metric;
          best_interface = interface;
        }
      }
    }
  }
  close(fd);
  return best_interface;
}

class RawReads {
 public:
  void Pass() {
    ReadBus();
    ReadCalendar();
    utsname names{};
    uname(&names);
    if (first_pass_) {
      const std::string os_release = ReadFile("/etc/os-release");
      sink_ += os_release.size();
      first_pass_ = false;
    }
    ReadPowerSupplies();
    ReadPreferences();
    ReadVendorIdentifier();
    ReadRoute();
    ReadDocumentsFolder();
    sink_ += ReadFile("/etc/default/keyboard").size();
    sink_ += ReadFile("/etc/vconsole.conf").size();
    ReadWirelessInterfaces();
  }

  std::size_t sink() const { return sink_; }

 private:
  void ReadBus() {
    if (bus_ == nullptr) {
      // No connection attempt when the bus's socket is missing.
      const char* address = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
      const std::string_view plain = "unix:path=";
      if (address != nullptr && std::string_view(address).starts_with(plain) &&
          access(address + plain.size(), F_OK) != 0) {
        return;
      }
      if (LoadedSdBus().open_system(&bus_) < 0) {
        bus_ = nullptr;
        return;
      }
      LoadedSdBus().set_method_call_timeout(bus_, 250'000);
    }
    const SdBus& sd = LoadedSdBus();
    sd_bus_error error{};
    std::uint32_t level = 0;
    sd.get_property_trivial(bus_, "org.freedesktop.GeoClue2", "/org/freedesktop/GeoClue2/Manager",
                            "org.freedesktop.GeoClue2.Manager", "AvailableAccuracyLevel", &error,
                            'u', &level);
    sd.error_free(&error);
    sd_bus_message* reply = nullptr;
    sd.call_method(bus_, "org.freedesktop.ModemManager1", "/org/freedesktop/ModemManager1",
                   "org.freedesktop.DBus.ObjectManager", "GetManagedObjects", &error, &reply, "");
    sd.error_free(&error);
    sd.message_unref(reply);
  }

  void ReadCalendar() {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale& locale = icu::Locale::getDefault();
    const std::unique_ptr<icu::Calendar> calendar(
        icu::Calendar::createInstance(icu::TimeZone::detectHostTimeZone(), locale, status));
    sink_ += U_SUCCESS(status) ? calendar->getFirstDayOfWeek(status) : 0;
  }

  void ReadPowerSupplies() {
    DIR* directory = opendir("/sys/class/power_supply");
    if (directory == nullptr) return;
    while (const dirent* entry = readdir(directory)) {
      if (entry->d_name[0] == '.') continue;
      const std::string supply = std::string("/sys/class/power_supply/") + entry->d_name;
      if (ReadFile(supply + "/type") != "Battery\n") continue;
      sink_ += ReadFile(supply + "/present").size() + ReadFile(supply + "/scope").size() +
               ReadFile(supply + "/status").size() + ReadFile(supply + "/capacity").size();
    }
    closedir(directory);
  }

  void ReadPreferences() {
    const std::string text = ReadFile(ConfigHome() + "/rqbehavior/" + program_ + ".json");
    const nlohmann::json preferences = nlohmann::json::parse(text, nullptr, false);
    if (preferences.is_object() && preferences.contains("DeviceGeneratedId")) ++sink_;
  }

  void ReadVendorIdentifier() {
    const std::string machine_id = ReadFile("/etc/machine-id");
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    const Crypto& crypto = LoadedCrypto();
    crypto.hmac(crypto.sha256(), machine_id.data(), static_cast<int>(machine_id.size()),
                reinterpret_cast<const unsigned char*>(program_.data()), program_.size(), digest,
                &length);
    sink_ += length;
  }

  void ReadRoute() {
    const int interface = DefaultRouteInterface();
    char name[IF_NAMESIZE] = {};
    if (interface <= 0 || if_indextoname(static_cast<unsigned>(interface), name) == nullptr) return;
    sink_ += ReadFile(std::string("/sys/class/net/") + name + "/uevent").size();
  }

  void ReadDocumentsFolder() {
    sink_ += ReadFile(ConfigHome() + "/user-dirs.dirs").size();
    struct statvfs folder {};
    const char* home = std::getenv("HOME");
    if (home != nullptr && statvfs(home, &folder) == 0) sink_ += folder.f_bavail;
  }

  void ReadWirelessInterfaces() {
    DIR* directory = opendir("/sys/class/net");
    if (directory == nullptr) return;
    while (const dirent* entry = readdir(directory)) {
      if (entry->d_name[0] == '.') continue;
      const std::string device = std::string("/sys/class/net/") + entry->d_name;
      sink_ += access((device + "/wireless").c_str(), F_OK) == 0 ||
               access((device + "/phy80211").c_str(), F_OK) == 0;
    }
    closedir(directory);
  }

  // The library's preferences file is named after the program that uses it:
  // the benchmark's library side.
  const std::string program_ = "rqbehavior-bench-child";
  sd_bus* bus_ = nullptr;
  bool first_pass_ = true;
  std::size_t sink_ = 0;
};

RawReads* g_reads = nullptr;

}  // namespace

// Not inlined, so that callgrind can count exactly one pass.
extern "C" __attribute__((noinline)) void rqb_bench_measured_pass() { g_reads->Pass(); }

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  // Passes run on a thread of their own, as collection runs do.
  std::thread([&] {
    RawReads reads;
    g_reads = &reads;
    if (mode == "runs" && argc > 2) {
      const int runs = std::atoi(argv[2]);
      const double first = TimeUs([&] { reads.Pass(); });
      std::vector<double> warm;
      for (int i = 0; i < runs; ++i) warm.push_back(TimeUs([&] { reads.Pass(); }));
      std::printf("%.1f %.1f\n", first, Median(warm));
    } else if (mode == "mark" && argc > 2) {
      const bool cold = std::string_view(argv[2]) == "cold";
      for (int i = 0; i < (cold ? 0 : 3); ++i) reads.Pass();
      rqb::bench::Mark("begin");
      reads.Pass();
      rqb::bench::Mark("end");
    } else if (mode == "callgrind" && argc > 2) {
      if (std::string_view(argv[2]) != "cold") {
        for (int i = 0; i < 3; ++i) reads.Pass();
      }
      rqb_bench_measured_pass();
    } else {
      std::fprintf(stderr, "usage: %s runs N | mark warm|cold | callgrind warm|cold\n", argv[0]);
      std::exit(2);
    }
    if (reads.sink() == 0) std::fprintf(stderr, "nothing was read\n");
  }).join();
  return 0;
}
