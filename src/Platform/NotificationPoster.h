// Announcing named notifications to the observers of the process.
#pragma once

#include <string_view>

namespace rqb {

// The process's notification center as the system provides it: Post() calls
// the observers of `name` synchronously on the posting thread and returns
// when all have run. Called from any thread.
class NotificationPoster {
 public:
  NotificationPoster() = default;
  NotificationPoster(const NotificationPoster&) = delete;
  NotificationPoster& operator=(const NotificationPoster&) = delete;
  virtual ~NotificationPoster() = default;

  // `object` is the sender; the poster passes it on and never touches it.
  virtual void Post(std::string_view name, void* object) = 0;
};

}  // namespace rqb
