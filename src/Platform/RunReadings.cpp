#include "Platform/RunReadings.h"

#include <algorithm>

namespace rqb {

thread_local RunReadings* RunReadings::current_ = nullptr;

RunReadings::RunReadings() : enclosing_(current_) { current_ = this; }

RunReadings::~RunReadings() { current_ = enclosing_; }

const std::shared_ptr<void>* RunReadings::Find(const void* key) const {
  for (const auto& [known, reading] : readings_) {
    if (known == key) return &reading;
  }
  return nullptr;
}

void RunReadings::Forget(const void* key) {
  if (current_ == nullptr) return;
  std::erase_if(current_->readings_, [&](const auto& entry) { return entry.first == key; });
}

}  // namespace rqb
