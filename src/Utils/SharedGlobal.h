// A process-wide object reference that is replaced as a whole.
#pragma once

#include <memory>
#include <mutex>
#include <utility>

#include "Platform/ForkGate.h"

namespace rqb {

// Holds one shared object that any thread may read or replace. A reader keeps
// the object it loaded alive for as long as it holds it, even when another
// thread replaces it meanwhile; the replaced object goes when its last holder
// lets go.
template <typename T>
class SharedGlobal {
 public:
  std::shared_ptr<T> Load() const {
    std::lock_guard lock(mutex_);
    return value_;
  }

  void Replace(std::shared_ptr<T> value) {
    {
      std::lock_guard lock(mutex_);
      value_.swap(value);
    }
    // `value` now holds the replaced object, released here, outside the lock.
  }

 private:
  mutable ForkSafeMutex mutex_;
  std::shared_ptr<T> value_;  // guarded by mutex_
};

}  // namespace rqb
