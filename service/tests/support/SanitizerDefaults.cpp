// ThreadSanitizer's defaults for the service's test programs, read when they
// start. The tests fork the service and other programs from threaded
// processes, which ThreadSanitizer refuses unless told otherwise; and the HTTP
// library, not instrumented, races between its own threads as far as
// ThreadSanitizer can see.
extern "C" const char* __tsan_default_options() { return "die_after_fork=0"; }
extern "C" const char* __tsan_default_suppressions() { return "race:libcpp-httplib\n"; }
