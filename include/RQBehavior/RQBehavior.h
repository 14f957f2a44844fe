// RQBehavior: device profiling for fraud prevention.
//
// A host application names itself once, then asks for a device profile per
// user session:
//
//   RQBehavior& rqb = RQBehavior::getInstance("shop-app-01");
//   std::string session = rqb.generateSessionId();
//   rqb.collectDeviceInformation(session);
//
// collectDeviceInformation() returns at once; the device attributes are read on
// a low-priority background thread and uploaded as one JSON document with one
// HTTPS POST. Nothing is reported back: a failed run and a failed transfer
// leave one line in the platform's log (stderr on Linux, or the host's log
// handler), and an answer other than 200 leaves nothing.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "RQBehavior/RQBConstants.h"
#include "RQBehavior/RQBException.h"
#include "RQBehavior/RQBExport.h"

// One message of the library's log, as a host's log handler receives it. The
// views are valid only during the handler's call.
struct RQBLogMessage {
  // The message alone, with no prefix and no line end, e.g.
  // "variables POST ERROR: Could not connect to server".
  std::string_view text;
  // What the platform's log line puts before the text: when it was written,
  // the program's short name, the process id and the writing thread's id.
  std::chrono::system_clock::time_point time;
  std::string_view program;
  long processId = 0;
  long threadId = 0;
};

// The one class a host application uses. A process-wide instance, created on
// first use and never destroyed. Methods may be called from any thread; the
// settings are meant to be changed from one thread at a time.
//
// Text arguments are UTF-8. Text that is not valid UTF-8 counts as absent
// (std::nullopt).
class RQB_EXPORT RQBehavior {
 public:
  // Returns the shared instance, creating it on the first call, and sets its
  // application identifier to `app` (std::nullopt included) on every call.
  static RQBehavior& getInstance(std::optional<std::string> app);

  // Starts one collection run for `sessionId` in the background and returns.
  // Throws RQBException named "NoSessionID" (reason
  // UNDEFINED_SESSION_ID_ERR_MESSAGE) when `sessionId` is absent or shorter
  // than 6 UTF-16 code units; no run is started then. The identifier is kept
  // by sessionId() even when it is refused.
  void collectDeviceInformation(std::optional<std::string> sessionId);

  // A new random session identifier: an upper-case version-4 UUID text of 36
  // characters. Neither stored nor used by the library.
  std::string generateSessionId();

  // Records the host's preferred request time-out, in seconds. Uploads keep
  // their fixed 10-second time-outs whatever is set here.
  void setRequestTimeout(std::optional<double> requestTimeout);

  // Runs, on the calling thread, the library's work that waits for the host's
  // main thread, and returns how many tasks ran (0 when none waited). Never
  // blocks on a collection run. A host whose main thread runs no event loop
  // of the library calls this from its main thread, e.g. once per pass of its
  // own loop; until it does, the library reports no location: the location
  // manager is created there. Tasks that this work queues wait for the next
  // call.
  //
  // On iOS the system's main queue serves this work by itself: the call is
  // not needed there, does nothing and returns 0.
  static std::size_t drainMainQueue();

  // Hands each later message of the library's log to `handler` instead of
  // writing it to the platform's log; an empty `handler` restores the
  // platform's log. The handler runs on whichever library thread logs,
  // possibly on several at once, so it must be thread-safe; it should return
  // promptly, and what it throws is dropped. Once this call returns, the
  // handler it replaced is not running on another thread and is never called
  // again, so its owner may release what it uses. May be called from within
  // the handler. The handler may end its thread (pthread_exit, or a
  // cancellation, as Python ends threads that call into it while it shuts
  // down): the library lets the thread go and carries on; only that message
  // is lost. flush() called from within the handler does not wait (below).
  static void setLogHandler(std::function<void(const RQBLogMessage&)> handler);

  // Waits until every collection run and upload started before the call has
  // finished, the upload's outcome included (a transport error is logged by
  // then), and returns true; returns false once `timeout` has passed first.
  // Runs and uploads started after the call do not delay it, and it never
  // waits for the main queue. Called from within the log handler it returns
  // at once, whatever `timeout` says: the work being logged cannot finish
  // before the handler returns, so it answers true only when nothing earlier
  // is under way. Optional: a host that wants its profiles sent
  // before it exits calls it last, e.g. flush(std::chrono::seconds(15));
  // nothing else depends on it. Never throws.
  static bool flush(std::chrono::milliseconds timeout) noexcept;

  std::optional<std::string> app() const;
  // Stores the identifier only; the next collectDeviceInformation() uses it.
  void setApp(std::optional<std::string> app);
  std::optional<double> requestTimeout() const;
  // The last identifier given to collectDeviceInformation(), accepted or not.
  std::optional<std::string> sessionId() const;
  // Stores the identifier only: no validation, no collection.
  void setSessionId(std::optional<std::string> sessionId);

  RQBehavior(const RQBehavior&) = delete;
  RQBehavior& operator=(const RQBehavior&) = delete;

 private:
  // The C and Objective-C interfaces reach the instance without naming the
  // application.
  friend class RQBehaviorCInterface;
  friend class RQBehaviorObjCInterface;

  RQBehavior() = default;
  ~RQBehavior() = default;

  // The shared instance, created on first use and never destroyed. Its
  // settings are kept in the library, beside it.
  static RQBehavior& shared();
};
