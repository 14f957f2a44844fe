// The contract of a collector: one device attribute as a key and a text.
#pragma once

#include <optional>
#include <string>

#include "RQBehavior/RQBExport.h"

// A stateless collector, created by its class name for one collection run and
// asked getKey() and then getValue() on that run's background thread.
// Collectors report platform failures only through their value (a fallback
// text or nothing) and never escape platform text.
class RQB_EXPORT RQBDataHelper {
 public:
  RQBDataHelper() = default;
  RQBDataHelper(const RQBDataHelper&) = delete;
  RQBDataHelper& operator=(const RQBDataHelper&) = delete;
  virtual ~RQBDataHelper() = default;

  // The profile key, one of the RQBVAR constants. Cheap; no platform access.
  virtual std::optional<std::string> getKey() = 0;
  // The encoded value, or nothing (stored as "" by the run).
  virtual std::optional<std::string> getValue() = 0;
};
