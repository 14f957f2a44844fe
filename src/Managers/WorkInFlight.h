// The library's collection runs and uploads in flight, so that a host can
// wait for those it started (RQBehavior::flush()).
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

namespace rqb {

class WorkInFlight {
 public:
  // One piece of work, from its start until End() or until the last copy of
  // the shared_ptr that Begin() returned is gone, whichever comes first: work
  // whose task is dropped unrun still ends.
  class Ticket {
   public:
    ~Ticket();
    Ticket(const Ticket&) = delete;
    Ticket& operator=(const Ticket&) = delete;
    // Ends the work; later calls do nothing.
    void End();

   private:
    friend class WorkInFlight;
    Ticket(std::uint64_t generation, std::uint64_t sequence)
        : generation_(generation), sequence_(sequence) {}
    const std::uint64_t generation_;  // of the process that began it
    const std::uint64_t sequence_;
    bool ended_ = false;  // guarded by the tracker's mutex
  };

  // Marks the calling thread as doing `ticket`'s work while it lives: work
  // begun on the thread meanwhile joins it, so that an upload a run starts
  // counts as part of the run, which began before it.
  class Scope {
   public:
    explicit Scope(const Ticket& ticket);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    const std::uint64_t previous_;
  };

  // Records the start of a piece of work. Any thread.
  static std::shared_ptr<Ticket> Begin();

  // Waits until all work begun before the call has ended, or `timeout` has
  // passed; says which. Work begun after the call does not delay it. In a
  // forked child only the child's own work counts. Any thread.
  static bool WaitForEarlierWork(std::chrono::milliseconds timeout) noexcept;
};

}  // namespace rqb
