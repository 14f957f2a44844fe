// Replacing a host's log handler while the library logs on other threads. What
// a handler receives is checked through the C interface, which wraps this one.
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>

#include "FakePlatform.h"
#include "Platform/LogSink.h"
#include "RQBehavior/RQBehavior.h"

namespace rqb {
namespace {

using namespace std::chrono_literals;
using test::PlatformTest;
using test::Recorded;

class LogHandler : public PlatformTest {
 protected:
  ~LogHandler() override { RQBehavior::setLogHandler(nullptr); }
};

TEST_F(LogHandler, OnceReplacedTheOldHandlerHasReturnedAndIsNeverCalledAgain) {
  std::promise<void> entered;
  std::promise<void> release;
  std::atomic<int> old_calls = 0;
  std::atomic<bool> replaced = false;
  std::atomic<bool> replaced_while_old_ran = false;
  RQBehavior::setLogHandler([&, released = release.get_future().share()](const RQBLogMessage&) {
    if (++old_calls > 1) return;
    entered.set_value();
    released.wait();
    replaced_while_old_ran = replaced.load();
  });
  std::thread logging([] { LogMessage("variables POST ERROR: first"); });
  entered.get_future().wait();

  Recorded<std::string> new_messages;
  std::thread replacing([&] {
    RQBehavior::setLogHandler(
        [&](const RQBLogMessage& message) { new_messages.Add(std::string(message.text)); });
    replaced = true;
  });
  // Gives the replacement time to reach its wait for the old handler; a
  // replacement that does not wait returns meanwhile and is caught below.
  std::this_thread::sleep_for(50ms);
  release.set_value();
  replacing.join();
  logging.join();
  EXPECT_FALSE(replaced_while_old_ran);

  LogMessage("variables POST ERROR: second");
  EXPECT_EQ(old_calls, 1);
  EXPECT_EQ(new_messages.Get(), std::vector<std::string>{"variables POST ERROR: second"});
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(LogHandler, AHandlerMayRemoveItselfAndWhatItThrowsIsDropped) {
  std::atomic<int> calls = 0;
  RQBehavior::setLogHandler([&](const RQBLogMessage&) {
    if (++calls == 1) throw std::runtime_error("host logger is down");
    RQBehavior::setLogHandler(nullptr);  // must not wait for this very call
  });
  LogMessage("variables POST ERROR: first");
  LogMessage("variables POST ERROR: second");
  LogMessage("variables POST ERROR: third");
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(log_.Lines(), std::vector<std::string>{"variables POST ERROR: third"});
}

}  // namespace
}  // namespace rqb
