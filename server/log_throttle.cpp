#include "log_throttle.h"

namespace pellum::server {

std::string LogThrottle::summary() const {
  return last_ + " (repeated " + std::to_string(held_) + (held_ == 1 ? " time)" : " times)");
}

std::vector<std::string> LogThrottle::note(std::string_view line, Clock::time_point now) {
  std::vector<std::string> out;
  if (line == last_ && !last_.empty()) {
    ++held_;
    if (now - lastWritten_ < interval_) return out;
    out.push_back(summary());
    held_ = 0;
    lastWritten_ = now;
    return out;
  }
  if (held_ > 0) out.push_back(summary());
  out.emplace_back(line);
  last_ = std::string(line);
  held_ = 0;
  lastWritten_ = now;
  return out;
}

}  // namespace pellum::server
