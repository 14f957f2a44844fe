// The running service: storage, the group commit writer and the HTTP(S)
// server with its endpoints, made from a Config.
#pragma once

#include <memory>
#include <string>

#include "config/Config.h"

namespace rqbservice {

class Service {
 public:
  // Opens the database (migrating it) and binds the listening socket.
  // Throws std::runtime_error with a message for the operator.
  Service(const Config& config, std::string token);
  ~Service();

  int port() const;
  // Serves until Stop(); returns once the requests in flight are answered
  // and every accepted profile is committed.
  void Run();
  // Stops accepting; safe from another thread.
  void Stop();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace rqbservice
