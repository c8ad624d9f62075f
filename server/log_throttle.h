#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace pellum::server {

// Keeps a line that repeats (a failing accept, thousands of times a second)
// from flooding the log: the first of a run is written at once, then at most
// one line per `interval`, counting the ones it stands for:
// "accept failed: Too many open files (repeated 12345 times)". Not
// thread-safe; the caller's strand serialises it.
class LogThrottle {
 public:
  using Clock = std::chrono::steady_clock;
  explicit LogThrottle(Clock::duration interval = std::chrono::seconds(1)) : interval_(interval) {}

  // The lines to write now, given that `line` happened at `now`.
  std::vector<std::string> note(std::string_view line, Clock::time_point now);

 private:
  std::string summary() const;

  Clock::duration interval_;
  std::string last_;
  Clock::time_point lastWritten_{};
  std::size_t held_ = 0;  // occurrences of last_ since it was last written
};

}  // namespace pellum::server
