// ThreadSanitizer's defaults for the test programs, read when they start.

// A forked child of a multi-threaded test starts threads, which
// ThreadSanitizer refuses unless told otherwise.
extern "C" const char* __tsan_default_options() { return "die_after_fork=0"; }

// Races that are not the library's: the loopback receiver's HTTP library races
// between its own worker threads, and glibc serialises tzset(3), which ICU
// calls from collection threads, with a lock of its own that ThreadSanitizer
// cannot see.
extern "C" const char* __tsan_default_suppressions() {
  return "race:libcpp-httplib\n"
         "race:tzset_internal\n";
}
