#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

namespace pellum::server {

// A session that can be told the server is going away.
class StoppableSession {
 public:
  virtual ~StoppableSession() = default;
  // Sends the client an error and closes, from any thread.
  virtual void shutdown() = 0;
};

// The live sessions running now, so a shutdown can reach each of them.
// Thread-safe.
class LiveRegistry {
 public:
  // False once shutdownAll ran: the caller must end the session itself.
  bool add(const std::shared_ptr<StoppableSession>& session);
  void shutdownAll();
  // Whether no registered session is alive any more.
  bool allEnded();
  // Registered sessions still alive.
  std::size_t openSessions();

 private:
  std::mutex mutex_;
  std::vector<std::weak_ptr<StoppableSession>> sessions_;
  bool closed_ = false;
};

}  // namespace pellum::server
