#include "DataHelpers/RQBDataHelperRegistry.h"

#include <span>

#include "DataHelpers/RQB3GDataHelper.h"
#include "DataHelpers/RQBCarrierDataHelper.h"
#include "DataHelpers/RQBDataHelper.h"
#include "DataHelpers/RQBLocationDataHelper.h"
#include "DataHelpers/RQBSSIDDataHelper.h"
#include "DataHelpers/RQBVoipDataHelper.h"
#include "DataHelpers/RQBWifiDataHelper.h"

namespace rqb {
namespace {

struct DataHelperClass {
  std::string_view name;
  std::unique_ptr<RQBDataHelper> (*create)();
};

template <typename Helper>
std::unique_ptr<RQBDataHelper> Create() {
  return std::make_unique<Helper>();
}

// One entry per collector class, under the class's own name. The table is
// explicit because self-registering statics vanish when a static library is
// linked.
constexpr DataHelperClass kDataHelperClasses[] = {
    {"RQB3GDataHelper", &Create<RQB3GDataHelper>},
    {"RQBCarrierDataHelper", &Create<RQBCarrierDataHelper>},
    {"RQBLocationDataHelper", &Create<RQBLocationDataHelper>},
    {"RQBSSIDDataHelper", &Create<RQBSSIDDataHelper>},
    {"RQBVoipDataHelper", &Create<RQBVoipDataHelper>},
    {"RQBWifiDataHelper", &Create<RQBWifiDataHelper>},
};

}  // namespace

std::unique_ptr<RQBDataHelper> RegistryClassLookup::CreateDataHelper(
    std::string_view class_name) const {
  for (const DataHelperClass& helper_class : std::span(kDataHelperClasses)) {
    if (helper_class.name == class_name) return helper_class.create();
  }
  return nullptr;
}

}  // namespace rqb
