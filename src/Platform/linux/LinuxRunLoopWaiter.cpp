// Run loop waiting on Linux: poll(2) over the sources and an eventfd.
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>

#include "Platform/RunLoopWaiter.h"

namespace rqb {
namespace {

class LinuxRunLoopWaiter final : public RunLoopWaiter {
 public:
  explicit LinuxRunLoopWaiter(int event_fd) : event_fd_(event_fd) {}
  ~LinuxRunLoopWaiter() override { close(event_fd_); }

  void Wake() override {
    // The counter saturates long before it matters; a failed write can only
    // mean it is already non-zero, and a wake-up is pending anyway.
    const std::uint64_t one = 1;
    [[maybe_unused]] ssize_t written = write(event_fd_, &one, sizeof one);
  }

  std::vector<int> Wait(std::span<const int> fds, Deadline deadline) override {
    std::vector<pollfd> polled;
    polled.reserve(fds.size() + 1);
    polled.push_back({event_fd_, POLLIN, 0});
    for (int fd : fds) polled.push_back({fd, POLLIN, 0});

    int ready = -1;
    do {
      ready = poll(polled.data(), polled.size(), TimeoutMs(deadline));
    } while (ready < 0 && errno == EINTR);

    std::vector<int> readable;
    if (ready <= 0) return readable;
    if (polled[0].revents != 0) {
      std::uint64_t wakes = 0;
      [[maybe_unused]] ssize_t got = read(event_fd_, &wakes, sizeof wakes);
    }
    for (std::size_t i = 1; i < polled.size(); ++i) {
      if (polled[i].revents != 0) readable.push_back(polled[i].fd);
    }
    return readable;
  }

 private:
  static int TimeoutMs(Deadline deadline) {
    if (!deadline) return -1;
    const auto left = *deadline - std::chrono::steady_clock::now();
    if (left <= std::chrono::steady_clock::duration::zero()) return 0;
    // Rounded up, so that a wait never ends just before its deadline.
    const auto ms = std::chrono::ceil<std::chrono::milliseconds>(left).count();
    return ms > INT_MAX ? INT_MAX : static_cast<int>(ms);
  }

  const int event_fd_;
};

}  // namespace

std::unique_ptr<RunLoopWaiter> RunLoopWaiter::Create() {
  const int event_fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (event_fd < 0) return nullptr;
  return std::make_unique<LinuxRunLoopWaiter>(event_fd);
}

bool IsMainThread() { return syscall(SYS_gettid) == getpid(); }

}  // namespace rqb
