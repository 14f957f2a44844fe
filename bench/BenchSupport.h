// Small helpers shared by the benchmark driver, the raw-reads program and the
// start-up host: clocks, medians, markers for the system-call counter, and
// the process's own memory and mapping figures.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <string>
#include <vector>

namespace rqb::bench {

using Clock = std::chrono::steady_clock;

inline double Microseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::micro>(duration).count();
}

// Times `work` in microseconds.
template <typename Work>
double TimeUs(Work&& work) {
  const Clock::time_point start = Clock::now();
  work();
  return Microseconds(Clock::now() - start);
}

inline double Median(std::vector<double> values) {
  if (values.empty()) return -1;
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// A system call that nothing else makes, so that a trace of the process can
// be cut at exactly this point: `access("/rqb-bench-mark/<name>")`.
inline void Mark(const char* name) {
  const std::string path = std::string("/rqb-bench-mark/") + name;
  [[maybe_unused]] const int ignored = access(path.c_str(), F_OK);
}

// A field of /proc/self/smaps_rollup in kB, e.g. "Anonymous" or "Rss".
inline long SmapsRollupKb(const std::string& field) {
  std::ifstream rollup("/proc/self/smaps_rollup");
  std::string line;
  while (std::getline(rollup, line)) {
    if (line.rfind(field + ":", 0) == 0) return std::atol(line.c_str() + field.size() + 1);
  }
  return -1;
}

// The shared objects mapped into this process, the program itself excluded.
inline std::size_t SharedObjectsMapped() {
  std::ifstream maps("/proc/self/maps");
  std::set<std::string> objects;
  std::string line;
  while (std::getline(maps, line)) {
    const std::size_t slash = line.find('/');
    if (slash == std::string::npos) continue;
    const std::string path = line.substr(slash);
    const std::size_t name = path.rfind('/');
    if (path.find(".so", name) != std::string::npos) objects.insert(path);
  }
  return objects.size();
}

}  // namespace rqb::bench
