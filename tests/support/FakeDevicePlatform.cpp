#include "FakeDevicePlatform.h"

#include <stdlib.h>

#include <stdexcept>

namespace rqb::test {

TemporaryDirectory::TemporaryDirectory() {
  std::string pattern =
      (std::filesystem::temp_directory_path() / "rqbehavior-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

}  // namespace rqb::test
