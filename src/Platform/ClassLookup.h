// Collector classes created by name, the way the platform looks classes up.
#pragma once

#include <memory>
#include <string_view>

class RQBDataHelper;

namespace rqb {

class ClassLookup {
 public:
  ClassLookup() = default;
  ClassLookup(const ClassLookup&) = delete;
  ClassLookup& operator=(const ClassLookup&) = delete;
  virtual ~ClassLookup() = default;

  // A new instance of the collector class named `class_name`, or nullptr when
  // no such class exists. Called from any thread.
  virtual std::unique_ptr<RQBDataHelper> CreateDataHelper(std::string_view class_name) const = 0;
};

}  // namespace rqb
