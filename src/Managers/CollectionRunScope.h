// Answers that several collectors of one collection run need, asked of the
// system once per run.
#pragma once

#include <optional>

#include "Platform/RunReadings.h"
#include "Platform/Telephony.h"

namespace rqb {

// Lives on the run's thread for the collection step: the collectors, called
// one after another on that thread, find it through Current(). Nothing
// outlives the run, so every run asks afresh.
class CollectionRunScope {
 public:
  CollectionRunScope();
  ~CollectionRunScope();
  CollectionRunScope(const CollectionRunScope&) = delete;
  CollectionRunScope& operator=(const CollectionRunScope&) = delete;

  // The run under way on the calling thread, or nullptr outside a run.
  static CollectionRunScope* Current();

  // The carriers of this run, as the telephony provider gave them the first
  // time a collector asked (the Carrier and CarrierAllowsVoip collectors ask
  // the same question).
  std::optional<std::optional<CarrierDictionary>> carriers;

 private:
  CollectionRunScope* const enclosing_;
  // The providers' readings that the run's collectors share.
  RunReadings readings_;
};

}  // namespace rqb
