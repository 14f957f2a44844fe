// State that belongs to one process and must not be inherited by fork(2).
#pragma once

#include <atomic>
#include <cstdint>

namespace rqb {

// How many fork(2)s separate the calling process from the first process that
// asked: 0 there, 1 in its child, 2 in a grandchild. Async-signal-safe after
// the first call.
std::uint64_t ForkGeneration();

// A `State` for the calling process. A forked child holds copies of its
// parent's threads' bookkeeping, but none of the threads, and possibly locks
// that one of them held at the fork: its first Get() builds a fresh State
// instead. The parent's copy is left as it is and never destroyed, as
// destroying a lock or a condition that another thread held is undefined.
// Get() may be called from any thread.
template <typename State>
class PerProcess {
 public:
  PerProcess() = default;
  PerProcess(const PerProcess&) = delete;
  PerProcess& operator=(const PerProcess&) = delete;
  // Destroys the calling process's State only.
  ~PerProcess() {
    const Node* node = node_.load(std::memory_order_acquire);
    if (node != nullptr && node->generation == ForkGeneration()) delete node;
  }

  State& Get() {
    const std::uint64_t generation = ForkGeneration();
    Node* node = node_.load(std::memory_order_acquire);
    while (node == nullptr || node->generation != generation) {
      auto* fresh = new Node{generation, node, {}};
      if (node_.compare_exchange_strong(node, fresh, std::memory_order_acq_rel,
                                        std::memory_order_acquire)) {
        return fresh->state;
      }
      delete fresh;  // another thread renewed it first; `node` is its State
    }
    return node->state;
  }

 private:
  struct Node {
    const std::uint64_t generation;
    Node* const forked_from;  // kept reachable, never destroyed
    State state;
  };

  std::atomic<Node*> node_{nullptr};
};

}  // namespace rqb
