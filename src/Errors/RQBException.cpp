#include "RQBehavior/RQBException.h"

#include <utility>

RQBException::RQBException(std::string name, std::optional<std::string> reason)
    : name_(std::move(name)), reason_(std::move(reason)) {}

const char* RQBException::what() const noexcept {
  return reason_ ? reason_->c_str() : name_.c_str();
}
