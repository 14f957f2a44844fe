// Readings that providers share between the questions of one collection run.
#pragma once

#include <memory>
#include <utility>
#include <vector>

namespace rqb {

// While one lives on a thread, a provider asked the same thing twice on that
// thread answers the second time with the first reading, so that the
// collectors of one run that need the same file or folder have it read once.
// Nothing outlives the scope: every run reads afresh, and a provider asked
// outside a scope reads every time. Scopes nest; the innermost counts.
class RunReadings {
 public:
  RunReadings();
  ~RunReadings();
  RunReadings(const RunReadings&) = delete;
  RunReadings& operator=(const RunReadings&) = delete;

  // The reading `key` names (a provider's own address, or the address of
  // something it owns), from `read` the first time it is asked in the
  // calling thread's scope; from `read` every time outside a scope.
  template <typename Reading, typename Read>
  static Reading Shared(const void* key, Read&& read) {
    RunReadings* const scope = current_;
    if (scope == nullptr) return read();
    if (const std::shared_ptr<void>* found = scope->Find(key)) {
      return *std::static_pointer_cast<Reading>(*found);
    }
    auto reading = std::make_shared<Reading>(read());
    scope->readings_.emplace_back(key, reading);
    return *reading;
  }

  // Forgets the reading `key` names in the calling thread's scope, when the
  // provider has just changed what it read.
  static void Forget(const void* key);

 private:
  const std::shared_ptr<void>* Find(const void* key) const;

  static thread_local RunReadings* current_;
  RunReadings* const enclosing_;
  std::vector<std::pair<const void*, std::shared_ptr<void>>> readings_;
};

}  // namespace rqb
