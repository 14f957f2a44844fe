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

// A field of /proc/self/status in kB, e.g. "VmPeak" or "VmSize".
inline long StatusKb(const std::string& field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind(field + ":", 0) == 0) return std::atol(line.c_str() + field.size() + 1);
  }
  return -1;
}

// Where this process's address space goes, in kB: glibc's malloc arenas
// other than the main heap (each reserves 64 MiB, 64 MiB-aligned, and
// makes it usable as it grows), thread stacks (a read-write mapping right
// above an inaccessible guard), files mapped (shared objects, ICU's data) and
// the rest.
struct AddressSpace {
  long arenas_kb = 0;
  int arenas = 0;
  long stacks_kb = 0;  // guards included
  int stacks = 0;
  long files_kb = 0;
  long other_kb = 0;
};

inline AddressSpace AddressSpaceNow() {
  struct Mapping {
    unsigned long start, end;
    std::string perms, path;
  };
  std::vector<Mapping> mappings;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    Mapping m;
    char perms[8] = {};
    int path_at = 0;
    if (std::sscanf(line.c_str(), "%lx-%lx %7s %*s %*s %*s %n", &m.start, &m.end, perms, &path_at) <
        3) {
      continue;
    }
    m.perms = perms;
    if (path_at > 0 && static_cast<std::size_t>(path_at) < line.size())
      m.path = line.substr(path_at);
    mappings.push_back(m);
  }
  constexpr unsigned long kArena = 64ul << 20;
  AddressSpace space;
  for (std::size_t i = 0; i < mappings.size(); ++i) {
    const Mapping& m = mappings[i];
    const long kb = static_cast<long>((m.end - m.start) >> 10);
    if (!m.path.empty()) {
      (m.path[0] == '/' ? space.files_kb : space.other_kb) += kb;
      continue;
    }
    // An arena: its usable part starts 64 MiB-aligned, its reserve follows.
    if (m.start % kArena == 0) {
      ++space.arenas;
      space.arenas_kb += kb;
      if (i + 1 < mappings.size() && mappings[i + 1].path.empty() &&
          mappings[i + 1].perms == "---p" && mappings[i + 1].start == m.end &&
          mappings[i + 1].end % kArena == 0) {
        space.arenas_kb += static_cast<long>((mappings[i + 1].end - mappings[i + 1].start) >> 10);
        ++i;
      }
      continue;
    }
    if (m.perms == "---p" && i + 1 < mappings.size() && mappings[i + 1].start == m.end &&
        mappings[i + 1].path.empty() && mappings[i + 1].perms == "rw-p" &&
        mappings[i + 1].start % kArena != 0) {
      ++space.stacks;
      space.stacks_kb +=
          kb + static_cast<long>((mappings[i + 1].end - mappings[i + 1].start) >> 10);
      ++i;
      continue;
    }
    space.other_kb += kb;
  }
  return space;
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
