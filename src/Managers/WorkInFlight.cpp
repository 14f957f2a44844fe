#include "Managers/WorkInFlight.h"

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>

#include "Platform/ForkGate.h"
#include "Platform/PerProcess.h"

namespace rqb {
namespace {

struct Tracker {
  std::mutex mutex;
  std::condition_variable ended;
  std::uint64_t next_sequence = 1;            // guarded by mutex
  std::map<std::uint64_t, std::size_t> open;  // sequence -> tickets; guarded by mutex
};

PerProcess<Tracker>& Trackers() {
  return MakeOnce([] { return new PerProcess<Tracker>(); });
}

// The sequence of the work the calling thread is doing, 0 for none, and the
// fork generation it belongs to.
thread_local std::uint64_t t_sequence = 0;
thread_local std::uint64_t t_generation = 0;

// Far enough to mean "no limit" without overflowing a clock.
constexpr std::chrono::milliseconds kNoLimit = std::chrono::hours(24 * 365 * 100);

}  // namespace

WorkInFlight::Ticket::~Ticket() { End(); }

void WorkInFlight::Ticket::End() {
  // A ticket of the parent's, copied by fork(2), means nothing here.
  if (generation_ != ForkGeneration()) return;
  Tracker& tracker = Trackers().Get();
  std::lock_guard lock(tracker.mutex);
  if (ended_) return;
  ended_ = true;
  const auto found = tracker.open.find(sequence_);
  if (found != tracker.open.end() && --found->second == 0) {
    tracker.open.erase(found);
    tracker.ended.notify_all();
  }
}

WorkInFlight::Scope::Scope(const Ticket& ticket) : previous_(t_sequence) {
  t_sequence = ticket.sequence_;
  t_generation = ticket.generation_;
}

WorkInFlight::Scope::~Scope() { t_sequence = previous_; }

std::shared_ptr<WorkInFlight::Ticket> WorkInFlight::Begin() {
  const std::uint64_t generation = ForkGeneration();
  Tracker& tracker = Trackers().Get();
  std::lock_guard lock(tracker.mutex);
  const std::uint64_t sequence =
      t_sequence != 0 && t_generation == generation ? t_sequence : tracker.next_sequence++;
  ++tracker.open[sequence];
  return std::shared_ptr<Ticket>(new Ticket(generation, sequence));
}

bool WorkInFlight::WaitForEarlierWork(std::chrono::milliseconds timeout) noexcept {
  try {
    const auto deadline = std::chrono::steady_clock::now() +
                          std::clamp(timeout, std::chrono::milliseconds(0), kNoLimit);
    Tracker& tracker = Trackers().Get();
    std::unique_lock lock(tracker.mutex);
    const std::uint64_t later = tracker.next_sequence;
    return tracker.ended.wait_until(lock, deadline, [&] {
      return tracker.open.empty() || tracker.open.begin()->first >= later;
    });
  } catch (...) {
    return false;
  }
}

}  // namespace rqb
