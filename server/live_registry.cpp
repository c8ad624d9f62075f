#include "live_registry.h"

#include <algorithm>

namespace pellum::server {

bool LiveRegistry::add(const std::shared_ptr<StoppableSession>& session) {
  std::lock_guard lock(mutex_);
  if (closed_) return false;
  std::erase_if(sessions_, [](const auto& weak) { return weak.expired(); });
  sessions_.push_back(session);
  return true;
}

void LiveRegistry::shutdownAll() {
  std::vector<std::weak_ptr<StoppableSession>> sessions;
  {
    std::lock_guard lock(mutex_);
    closed_ = true;
    sessions = sessions_;
  }
  for (const auto& weak : sessions) {
    if (auto session = weak.lock()) session->shutdown();
  }
}

}  // namespace pellum::server

namespace pellum::server {

std::size_t LiveRegistry::openSessions() {
  std::lock_guard lock(mutex_);
  std::erase_if(sessions_, [](const auto& weak) { return weak.expired(); });
  return sessions_.size();
}

bool LiveRegistry::allEnded() {
  std::lock_guard lock(mutex_);
  return std::all_of(sessions_.begin(), sessions_.end(), [](const auto& weak) { return weak.expired(); });
}

}  // namespace pellum::server
