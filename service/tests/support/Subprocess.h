// Runs a program to its end and captures what it writes to stdout.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace rqbservice::testing {

struct Finished {
  int status = -1;  // exit status, or -1 when killed at the time-out
  std::string output;
};

// `environment` entries are added to the test's own environment. Its stderr
// goes to `stderr_file` when one is named.
Finished RunToEnd(const std::vector<std::string>& arguments,
                  const std::map<std::string, std::string>& environment,
                  std::chrono::seconds timeout, const std::string& stderr_file = "");

}  // namespace rqbservice::testing
