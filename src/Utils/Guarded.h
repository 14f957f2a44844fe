// A value shared between the host's threads and background runs.
#pragma once

#include <mutex>
#include <utility>

#include "Platform/ForkGate.h"

namespace rqb {

// Holds one value behind its own mutex: readers get a copy, writers replace
// it whole. Enough for settings that are set by the host and read when a run
// builds its envelope, where no two values need to change together.
template <typename T>
class Guarded {
 public:
  Guarded() = default;
  explicit Guarded(T value) : value_(std::move(value)) {}

  T Load() const {
    std::lock_guard lock(mutex_);
    return value_;
  }

  void Store(T value) {
    std::lock_guard lock(mutex_);
    value_ = std::move(value);
  }

 private:
  mutable ForkSafeMutex mutex_;
  T value_{};
};

}  // namespace rqb
