// ThreadSanitizer's suppressions for the service, built in only under
// RQBEHAVIOR_SANITIZE=thread. The HTTP library is not instrumented, and the
// accesses its worker threads make to its own shared state, seen only through
// memcpy and memcmp, look like races to ThreadSanitizer.
extern "C" const char* __tsan_default_suppressions() { return "race:libcpp-httplib\n"; }
