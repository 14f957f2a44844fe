// The exception RQBehavior raises on misuse by the host.
#pragma once

#include <exception>
#include <optional>
#include <string>

#include "RQBehavior/RQBExport.h"

// An exception with a name (what went wrong, e.g. "NoSessionID") and a
// human-readable reason. Raised synchronously on the caller's thread.
class RQB_EXPORT RQBException : public std::exception {
 public:
  RQBException(std::string name, std::optional<std::string> reason);

  const std::string& name() const noexcept { return name_; }
  const std::optional<std::string>& reason() const noexcept { return reason_; }

  // The description: the reason, or the name when there is no reason.
  const char* what() const noexcept override;

 private:
  std::string name_;
  std::optional<std::string> reason_;
};
