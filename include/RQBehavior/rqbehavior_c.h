/*
 * RQBehavior for hosts written in C, or in any language that calls C
 * (Rust, Go, Python through ctypes or cffi, Swift, ...). C99.
 *
 *   rqb_set_app("shop-app-01");
 *   char session[RQB_SESSION_ID_SIZE];
 *   rqb_generate_session_id(session, sizeof session);
 *   rqb_error* error = NULL;
 *   if (rqb_collect_device_information(session, &error) != RQB_OK) {
 *     fprintf(stderr, "%s: %s\n", error->name, error->reason);
 *     rqb_error_free(error);
 *   }
 *
 * The same operations as the C++ class RQBehavior (RQBehavior.h), with the
 * same behaviour: a collection run reads the device on a background thread
 * and uploads the device profile with one HTTPS POST; nothing is reported
 * back. The key and message constants of RQBConstants.h are declared here
 * too, as C strings; on iOS they exist only as the NSString objects that the
 * framework's RQBehavior.h declares for Objective-C and Swift.
 *
 * Rules for every function:
 * - Any thread may call it. Nothing is thrown across this interface: a
 *   failure is a status, and the library's exception becomes an rqb_error.
 * - Text is NUL-terminated UTF-8. Text the library receives is copied during
 *   the call and stays the caller's; text that is not valid UTF-8 counts as
 *   absent, as NULL does.
 * - What the library allocates for the caller (an rqb_error) is the
 *   caller's, to be released with its free function.
 */
#ifndef RQBEHAVIOR_RQBEHAVIOR_C_H_
#define RQBEHAVIOR_RQBEHAVIOR_C_H_

#include <stddef.h>
#include <stdint.h>

#ifndef __APPLE__
#include "RQBehavior/RQBConstants.h"
#endif
#include "RQBehavior/RQBExport.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What a call did. */
typedef enum rqb_status {
  RQB_OK = 0,
  /* The library refused the call and raised its exception: the rqb_error
     tells which (e.g. "NoSessionID"). */
  RQB_EXCEPTION = 1,
  /* A pointer that must not be NULL was NULL; nothing was done. */
  RQB_INVALID_ARGUMENT = 2,
  /* The caller's buffer cannot hold the result; nothing was written. */
  RQB_BUFFER_TOO_SMALL = 3,
  /* The library could not complete the call (out of memory, no threads). */
  RQB_INTERNAL_ERROR = 4,
  /* The time given ran out before what was waited for had happened. */
  RQB_TIMED_OUT = 5
} rqb_status;

/* The library's exception: a name and an optional reason. */
typedef struct rqb_error {
  char* name;   /* e.g. "NoSessionID"; never NULL */
  char* reason; /* a human-readable text, or NULL when there is none */
} rqb_error;

/* Releases an error and its texts. NULL is allowed. */
RQB_EXPORT void rqb_error_free(rqb_error* error);

/* Names the host application: the identifier every later collection run
   sends as "App". NULL (or text that is not UTF-8) unsets it; a run without
   it collects but uploads nothing, and logs why. */
RQB_EXPORT rqb_status rqb_set_app(const char* app);

/* Starts one collection run for `session_id` in the background and returns
   at once. A `session_id` that is NULL or shorter than 6 UTF-16 code units
   is refused: RQB_EXCEPTION with the error "NoSessionID", and no run starts.
   When `error` is not NULL and the status is RQB_EXCEPTION, *error receives
   a new rqb_error for the caller to free (or NULL if it could not be made);
   otherwise *error is set to NULL. */
RQB_EXPORT rqb_status rqb_collect_device_information(const char* session_id, rqb_error** error);

/* Bytes of a session identifier made by rqb_generate_session_id, NUL included. */
#define RQB_SESSION_ID_SIZE 37

/* Writes a new random session identifier into `buffer`: an upper-case
   version-4 UUID text of 36 characters and a NUL. The library neither
   stores nor uses it. RQB_BUFFER_TOO_SMALL when `size` is below
   RQB_SESSION_ID_SIZE. */
RQB_EXPORT rqb_status rqb_generate_session_id(char* buffer, size_t size);

/* Records the host's preferred request time-out in seconds, or clears it.
   Uploads keep their fixed 10-second time-outs whatever is set here. */
RQB_EXPORT rqb_status rqb_set_request_timeout(double seconds);
RQB_EXPORT rqb_status rqb_clear_request_timeout(void);

/* Runs, on the calling thread, the library's work that waits for the host's
   main thread, and returns how many tasks ran. Never blocks on a collection
   run. A host whose main thread runs no event loop of the library's calls it
   from its main thread, e.g. once per pass of its own loop; until it does,
   the library reports no location. */
RQB_EXPORT size_t rqb_drain_main_queue(void);

/* Waits until every collection run and upload started before the call has
   finished (the upload's outcome included), at most `timeout_ms`
   milliseconds. RQB_OK when they have, RQB_TIMED_OUT when the time passed
   first. Runs started after the call do not delay it, and it never waits for
   the main queue. Optional: a host that wants its profiles sent before it
   exits calls it last. Called from within the log handler it does not wait:
   the work being logged cannot finish before the handler returns, so it
   answers at once, RQB_OK only when nothing earlier is under way. */
RQB_EXPORT rqb_status rqb_flush(uint32_t timeout_ms);

/* One message of the library's log, as a log handler receives it. Every
   pointer is valid only during the handler's call. Later versions may add
   members at the end; the library always allocates this record. */
typedef struct rqb_log_message {
  const char* text;     /* the message alone: no prefix, no line end */
  size_t text_length;   /* bytes of `text`, NUL excluded */
  int64_t unix_time_ns; /* when it was written, in ns since 1970-01-01 UTC */
  const char* program;  /* the program's short name */
  long process_id;      /* the process's id */
  long thread_id;       /* the writing thread's id */
} rqb_log_message;

typedef void (*rqb_log_handler)(const rqb_log_message* message, void* context);

/* Hands each later message of the library's log to `handler`, with
   `context`, instead of writing it to the platform's log (stderr on Linux);
   NULL restores the platform's log. The handler runs on whichever library
   thread logs, possibly on several at once. Once this call returns, the
   handler it replaced is not running on another thread and is never called
   again, so its context may be released. May be called from within the
   handler.

   A handler should return promptly. It may end its own thread
   (pthread_exit, or a cancellation): only that thread and that message are
   lost, and the library carries on. Python does this to threads that call
   into it while the interpreter shuts down, and a ctypes callback cannot be
   called at all once the interpreter is gone, so a Python host removes its
   handler (rqb_set_log_handler(NULL, NULL)) before it exits, for example
   with atexit, after its last rqb_flush. rqb_flush called from within the
   handler does not wait (see rqb_flush). */
RQB_EXPORT rqb_status rqb_set_log_handler(rqb_log_handler handler, void* context);

#ifdef __cplusplus
}
#endif

#endif /* RQBEHAVIOR_RQBEHAVIOR_C_H_ */
