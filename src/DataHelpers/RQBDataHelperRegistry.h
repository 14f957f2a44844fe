// The collector classes the library knows, by class name.
#pragma once

#include "Platform/ClassLookup.h"

namespace rqb {

// Looks collector classes up in the library's table. A name without an entry
// is a class that does not exist.
class RegistryClassLookup final : public ClassLookup {
 public:
  std::unique_ptr<RQBDataHelper> CreateDataHelper(std::string_view class_name) const override;
};

}  // namespace rqb
