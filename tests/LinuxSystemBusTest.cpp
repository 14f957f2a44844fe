// The shared system-bus connection, against a private bus daemon, and the
// libraries loaded at run time: what the readings give when one cannot be
// loaded, a load that fails is tried again, one that succeeds is kept, and
// threads that ask first together load once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "FakePlatform.h"
#include "Platform/linux/LinuxDevice.h"
#include "Platform/linux/LinuxLocationServices.h"
#include "Platform/linux/LinuxTelephony.h"
#include "Platform/linux/RuntimeLibrary.h"
#include "Platform/linux/SystemBus.h"

namespace rqb {
namespace {

// A dbus-daemon of the system type with no services, in force as the
// process's system bus while it lives.
struct PrivateSystemBus {
  PrivateSystemBus() {
    std::ofstream(folder.path() / "bus.conf")
        << "<busconfig><type>system</type><listen>unix:path=" << socket
        << "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow user=\"*\"/>"
           "<allow send_type=\"method_call\"/><allow receive_type=\"method_return\"/>"
           "<allow receive_type=\"error\"/><allow receive_type=\"signal\"/></policy></busconfig>";
    daemon = fork();
    if (daemon == 0) {
      execlp("dbus-daemon", "dbus-daemon", ("--config-file=" + folder.name + "/bus.conf").c_str(),
             "--nofork", "--nopidfile", static_cast<char*>(nullptr));
      _exit(127);
    }
    for (int i = 0; i < 500 && !up(); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  ~PrivateSystemBus() {
    kill(daemon, SIGTERM);
    waitpid(daemon, nullptr, 0);
  }
  bool up() const { return std::filesystem::exists(socket); }

  const test::TemporaryDirectory folder;
  const std::string socket = folder.name + "/system_bus_socket";
  const test::ScopedEnvironment address{"DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + socket).c_str()};
  pid_t daemon = -1;
};

// Whether there is a connection and a method call on the bus itself gets its
// answer.
bool Answers(const SystemBusLease& bus) {
  if (!bus) return false;
  sd_bus_error error{};
  sd_bus_message* reply = nullptr;
  const int called =
      bus.sd().call_method(bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                           "org.freedesktop.DBus", "GetId", &error, &reply, "");
  bus.sd().error_free(&error);
  bus.sd().message_unref(reply);
  return called >= 0;
}

// The connection is kept for the next caller, but never crosses a fork or
// outlives its bus: a restarted daemon is a new connection at the next
// question, and a bus that went away is none.
TEST(SystemBus, OneConnectionServesOneCallerAtATimeNeverCrossesAForkAndFollowsItsBus) {
  std::optional<PrivateSystemBus> daemon(std::in_place);
  if (!daemon->up()) GTEST_SKIP() << "no dbus-daemon on this machine";
  sd_bus* kept = nullptr;
  {
    const SystemBusLease first(500'000);
    ASSERT_TRUE(Answers(first));
    kept = first.get();
  }
  {
    const SystemBusLease again(500'000);
    EXPECT_EQ(again.get(), kept) << "the connection was not kept";
    const SystemBusLease meanwhile(500'000);
    EXPECT_NE(meanwhile.get(), kept) << "two callers on one connection";
    EXPECT_TRUE(Answers(meanwhile));
  }
  const pid_t child = fork();
  if (child == 0) {
    // sd-bus refuses the parent's connection here.
    const SystemBusLease in_child(500'000);
    _exit(in_child && Answers(in_child) ? 0 : 1);
  }
  EXPECT_EQ(test::ExitCodeOf(child), 0) << "the child used its parent's";
  EXPECT_TRUE(Answers(SystemBusLease(500'000)));

  daemon.emplace();  // the old one is gone first
  EXPECT_TRUE(Answers(SystemBusLease(500'000))) << "the dead connection was lent";
  daemon.reset();
  EXPECT_FALSE(SystemBusLease(500'000)) << "no bus, yet a connection";
}

TEST(RuntimeLibraries, ALibraryThatCannotBeLoadedGivesTheFallbackOfItsReadings) {
  const RuntimeLibrary missing("librqbehavior-no-such-library.so.0");
  EXPECT_FALSE(missing.ok());
  EXPECT_THAT(missing.error(), testing::HasSubstr("librqbehavior-no-such-library.so.0"));
  RuntimeLibrary libc("libc.so.6");
  decltype(&::getpid) found = nullptr;
  libc.Resolve(found, "getpid");
  ASSERT_TRUE(libc.ok()) << libc.error();
  EXPECT_EQ(found(), getpid());
  libc.Resolve(found, "rqb_no_such_function");
  EXPECT_FALSE(libc.ok());
  EXPECT_THAT(libc.error(), testing::HasSubstr("rqb_no_such_function"));

  // No libcrypto: no identifier for the vendor.
  const char* machine_id = "5f0e7c1d2a3b4c5d6e7f8091a2b3c4d5\n";
  ASSERT_TRUE(VendorIdentifier(machine_id, "shop-app"));
  {
    const ScopedUnloadableLibrary no_libcrypto(RuntimeLibraryId::kCrypto);
    EXPECT_EQ(VendorIdentifier(machine_id, "shop-app"), std::nullopt);
  }

  // No libsystemd: as without a bus, though one is there.
  const PrivateSystemBus daemon;
  if (!daemon.up()) GTEST_SKIP() << "no dbus-daemon on this machine";
  ASSERT_TRUE(SystemBusLease(500'000));
  const ScopedUnloadableLibrary no_libsystemd(RuntimeLibraryId::kSystemd);
  EXPECT_FALSE(SystemBusLease(500'000));
  EXPECT_FALSE(LinuxLocationServices().LocationServicesEnabled());
  EXPECT_EQ(LinuxTelephony().ServiceSubscriberCellularProviders(), std::nullopt);
}

const int kLoaded = 1;

TEST(LoadOnce, AFailedLoadIsTriedAgainASuccessfulOneIsKeptAndThreadsAskingTogetherLoadOnce) {
  LoadOnce<const int*> library;
  std::atomic<int> loads = 0;
  const auto fails = [&] {
    ++loads;
    return static_cast<const int*>(nullptr);
  };
  const auto succeeds = [&] {
    ++loads;
    return &kLoaded;
  };
  EXPECT_EQ(library.Get(fails), nullptr);  // say, out of descriptors
  EXPECT_EQ(library.Get(succeeds), &kLoaded);
  EXPECT_EQ(library.Get(fails), &kLoaded);
  EXPECT_EQ(loads, 2);

  LoadOnce<const int*> fresh;
  loads = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([&] { EXPECT_EQ(fresh.Get(succeeds), &kLoaded); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(loads, 1);
}

// A child forked while a library thread loads a library would inherit the
// loader's lock from a thread it does not have: fork waits for the load.
TEST(RuntimeLibraries, AForkWaitsForALibraryBeingLoaded) {
  static int loaded_value = 42;
  LoadOnce<int*> library;
  std::atomic<bool> loading = false, released = false, forked = false;
  std::thread loader([&] {
    library.Get([&] {
      loading = true;
      while (!forked.load() && !released.load()) std::this_thread::yield();
      return &loaded_value;
    });
  });
  while (!loading) std::this_thread::yield();
  std::atomic<bool> released_before_fork_returned = false;
  std::thread forker([&] {
    const pid_t child = fork();
    if (child == 0) {
      alarm(10);  // a hang fails the test
      _exit(*library.Get([] { return static_cast<int*>(nullptr); }) == 42 ? 0 : 1);
    }
    forked = true;
    released_before_fork_returned = released.load();
    EXPECT_EQ(test::ExitCodeOf(child), 0) << "the child's load did not end";
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));  // time for a fork not held off
  released = true;
  forker.join();
  loader.join();
  EXPECT_TRUE(released_before_fork_returned) << "fork went ahead while a library was loading";
}

}  // namespace
}  // namespace rqb
