// The stacks of the library's own threads: the address space they reserve and
// the room they leave for a host's log handler.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Constants/RQBBuildConfig.h"
#include "FakePlatform.h"
#include "LoopbackReceiver.h"
#include "Platform/Platform.h"
#include "Platform/linux/CurlUrlSession.h"
#include "RQBehavior/RQBehavior.h"
#include "Services/RQBHttpService.h"

namespace rqb {
namespace {

using namespace std::chrono_literals;
using loopback::LoopbackReceiver;
using loopback::TestCertificateAuthority;

// Touches `bytes` of stack, 16 KiB per frame.
[[gnu::noinline]] int UseStack(std::size_t bytes) {
  volatile char block[16 << 10];
  block[0] = 1;
  block[sizeof block - 1] = 1;
  if (bytes <= sizeof block) return block[0];
  return block[sizeof block - 1] + UseStack(bytes - sizeof block);
}

// The size of the mapping that holds each library thread's stack pointer, by
// thread name. A thread blocked in a system call shows its stack pointer in
// /proc/self/task/<id>/syscall, the second field from the end.
std::multimap<std::string, std::uintptr_t> LibraryStackMappings() {
  std::map<std::uintptr_t, std::uintptr_t> mappings;  // start -> end
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    std::istringstream range(line.substr(0, line.find(' ')));
    std::uintptr_t start = 0, end = 0;
    char dash = 0;
    range >> std::hex >> start >> dash >> end;
    mappings.emplace(start, end);
  }
  std::multimap<std::string, std::uintptr_t> sizes;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::getline(std::ifstream(task.path() / "comm"), name);
    if (!name.starts_with("rqb-")) continue;
    std::string syscall;
    std::getline(std::ifstream(task.path() / "syscall"), syscall);
    std::istringstream fields(syscall);
    std::vector<std::string> words;
    for (std::string word; fields >> word;) words.push_back(word);
    if (words.size() < 3) continue;  // running at this moment
    const std::uintptr_t sp = std::stoull(words[words.size() - 2], nullptr, 16);
    auto mapping = mappings.upper_bound(sp);
    if (mapping == mappings.begin()) continue;
    --mapping;
    if (sp < mapping->second) sizes.emplace(name, mapping->second - mapping->first);
  }
  return sizes;
}

class LibraryThreads : public test::PlatformTest {
 protected:
  LibraryThreads() { pthread_getattr_default_np(&host_default_); }
  ~LibraryThreads() override {
    RQBehavior::setLogHandler(nullptr);
    pthread_setattr_default_np(&host_default_);
    pthread_attr_destroy(&host_default_);
  }

  pthread_attr_t host_default_;
};

// A host that gives its own threads large stacks (or runs under a large
// `ulimit -s`) does not give them to the library's threads, whose reserved
// address space stays small; a log handler still has room for deep calls.
TEST_F(LibraryThreads, ReserveSmallStacksWhateverTheProcessDefaultAndLeaveRoomForAHandler) {
  pthread_attr_t large;
  pthread_attr_init(&large);
  pthread_attr_setstacksize(&large, std::size_t{64} << 20);
  ASSERT_EQ(pthread_setattr_default_np(&large), 0);
  pthread_attr_destroy(&large);

  std::promise<std::string> handled;
  RQBehavior::setLogHandler([&](const RQBLogMessage& message) {
    UseStack(std::size_t{256} << 10);
    handled.set_value(std::string(message.text));
    RQBehavior::setLogHandler(nullptr);
  });
  // An upload that fails logs on the delegate thread, after the transfer
  // thread's handshake; the run's thread is the background queue's.
  TestCertificateAuthority ca;
  LoopbackReceiver receiver(ca, loopback::HostOfUrl(RQB_PROFILER_BASE_URL));
  CurlUrlSessionFactory untrusted(CurlUrlSessionFactory::LoopbackRoute(
      loopback::AuthorityOfUrl(RQB_PROFILER_BASE_URL), receiver.port(),
      TestCertificateAuthority("Some Other CA").CertificatePem()));
  Platform routed;
  routed.url_sessions = &untrusted;
  const ScopedPlatformOverride route(routed);
  std::promise<void> ran;
  DefaultPlatform().background_queue->Submit([&] {
    RQBHttpService::getInstance().setTimeout(10);
    RQBHttpService::getInstance().sendDeviceFullInfo(JsonObject());
    ran.set_value();
  });
  ran.get_future().wait();
  ASSERT_TRUE(RQBehavior::flush(20s));
  EXPECT_THAT(handled.get_future().get(), testing::StartsWith("variables POST ERROR: "));

  // A thread caught running shows no stack pointer: look again.
  const auto all_seen = [](const std::multimap<std::string, std::uintptr_t>& stacks) {
    return stacks.contains("rqb-background") && stacks.contains("rqb-transfer") &&
           stacks.contains("rqb-delegate");
  };
  std::multimap<std::string, std::uintptr_t> stacks = LibraryStackMappings();
  for (int i = 0; i < 200 && !all_seen(stacks); ++i) {
    std::this_thread::sleep_for(10ms);
    stacks = LibraryStackMappings();
  }
  EXPECT_TRUE(all_seen(stacks));
  // The mapping holds the thread's share of thread-local storage too, which
  // a sanitizer's run-time makes large.
  for (const auto& [name, size] : stacks) {
    EXPECT_GE(size, std::uintptr_t{512} << 10) << name;
    EXPECT_LE(size, std::uintptr_t{2} << 20) << name;
  }
}

}  // namespace
}  // namespace rqb
