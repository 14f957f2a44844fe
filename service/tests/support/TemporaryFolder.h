// A temporary folder of a test's own, removed with its contents.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

namespace rqbservice::testing {

struct TemporaryFolder {
  TemporaryFolder() {
    std::string name = std::filesystem::temp_directory_path() / "rqbehavior-service-test.XXXXXX";
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path = name;
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::filesystem::path path;
};

}  // namespace rqbservice::testing
