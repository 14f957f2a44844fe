// The C interface: each function forwards to the facade and turns what it
// throws into a status, so that no exception crosses into a C caller.
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <optional>
#include <string>

#include "RQBehavior/RQBehavior.h"
#include "RQBehavior/rqbehavior_c.h"

namespace {

std::optional<std::string> TextArgument(const char* text) {
  if (text == nullptr) return std::nullopt;
  return std::string(text);
}

// A malloc'd copy, so that the caller may release it without the C++ runtime.
char* CopyForCaller(const std::string& text) {
  char* copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy != nullptr) std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

rqb_error* NewError(const RQBException& exception) {
  auto* error = static_cast<rqb_error*>(std::calloc(1, sizeof(rqb_error)));
  if (error == nullptr) return nullptr;
  error->name = CopyForCaller(exception.name());
  if (exception.reason()) error->reason = CopyForCaller(*exception.reason());
  if (error->name == nullptr || (exception.reason() && error->reason == nullptr)) {
    rqb_error_free(error);
    return nullptr;
  }
  return error;
}

// Runs `call`, mapping the library's exception to RQB_EXCEPTION (with an
// error for the caller when it asked for one) and anything else to
// RQB_INTERNAL_ERROR.
template <typename Call>
rqb_status Guarded(rqb_error** error, Call call) noexcept {
  if (error != nullptr) *error = nullptr;
  try {
    call();
    return RQB_OK;
  } catch (const RQBException& exception) {
    if (error != nullptr) *error = NewError(exception);
    return RQB_EXCEPTION;
  } catch (...) {
    return RQB_INTERNAL_ERROR;
  }
}

}  // namespace

// Befriended by the facade: the C functions use its instance without setting
// the application identifier, which getInstance() always does.
class RQBehaviorCInterface {
 public:
  static RQBehavior& Facade() { return RQBehavior::shared(); }
};

extern "C" {

void rqb_error_free(rqb_error* error) {
  if (error == nullptr) return;
  std::free(error->name);
  std::free(error->reason);
  std::free(error);
}

rqb_status rqb_set_app(const char* app) {
  return Guarded(nullptr, [&] { RQBehavior::getInstance(TextArgument(app)); });
}

rqb_status rqb_collect_device_information(const char* session_id, rqb_error** error) {
  return Guarded(error, [&] {
    RQBehaviorCInterface::Facade().collectDeviceInformation(TextArgument(session_id));
  });
}

rqb_status rqb_generate_session_id(char* buffer, size_t size) {
  if (buffer == nullptr) return RQB_INVALID_ARGUMENT;
  if (size < RQB_SESSION_ID_SIZE) return RQB_BUFFER_TOO_SMALL;
  return Guarded(nullptr, [&] {
    const std::string session_id = RQBehaviorCInterface::Facade().generateSessionId();
    std::memcpy(buffer, session_id.c_str(), session_id.size() + 1);
  });
}

rqb_status rqb_set_request_timeout(double seconds) {
  return Guarded(nullptr, [&] { RQBehaviorCInterface::Facade().setRequestTimeout(seconds); });
}

rqb_status rqb_clear_request_timeout(void) {
  return Guarded(nullptr, [&] { RQBehaviorCInterface::Facade().setRequestTimeout(std::nullopt); });
}

rqb_status rqb_flush(uint32_t timeout_ms) {
  return RQBehavior::flush(std::chrono::milliseconds(timeout_ms)) ? RQB_OK : RQB_TIMED_OUT;
}

size_t rqb_drain_main_queue(void) {
  try {
    return RQBehavior::drainMainQueue();
  } catch (...) {
    return 0;
  }
}

rqb_status rqb_set_log_handler(rqb_log_handler handler, void* context) {
  return Guarded(nullptr, [&] {
    if (handler == nullptr) {
      RQBehavior::setLogHandler(nullptr);
      return;
    }
    RQBehavior::setLogHandler([handler, context](const RQBLogMessage& message) {
      const std::string text(message.text);  // NUL-terminated for C
      const std::string program(message.program);
      rqb_log_message record{};
      record.text = text.c_str();
      record.text_length = text.size();
      record.unix_time_ns =
          std::chrono::duration_cast<std::chrono::nanoseconds>(message.time.time_since_epoch())
              .count();
      record.program = program.c_str();
      record.process_id = message.processId;
      record.thread_id = message.threadId;
      handler(&record, context);
    });
  });
}

}  // extern "C"
