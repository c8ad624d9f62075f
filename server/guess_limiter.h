#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <unordered_map>

namespace pellum::server {

// How many wrong guesses (an unknown pairing code at the exchange, a bearer
// token no device holds) a client address may make before it is slowed.
struct GuessLimits {
  // This many failures within `window` lock the address out; 0 turns the
  // limit off.
  int failures = 10;
  std::chrono::seconds window{60};
  // The first lockout; each further one doubles, up to `maxLockout`.
  std::chrono::seconds lockout{60};
  std::chrono::seconds maxLockout{15 * 60};
  // Addresses remembered at once; the stalest are forgotten first.
  std::size_t maxTracked = 10000;
};

// Counts failed guesses per client address and says how long a locked-out
// address must wait (the 429's Retry-After). Pure: the clock is injected.
// Thread-safe: the listeners' I/O threads share one.
class GuessLimiter {
 public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;
  explicit GuessLimiter(GuessLimits limits, Clock clock = std::chrono::steady_clock::now);

  // How long `address` must still wait before it may try; zero when it may.
  std::chrono::seconds retryAfter(const std::string& address);
  // Counts a failed guess from `address`; returns the lockout it starts, or
  // zero when the address may go on.
  std::chrono::seconds recordFailure(const std::string& address);

  std::size_t trackedAddresses() const;
  const GuessLimits& limits() const { return limits_; }

 private:
  struct Entry {
    int failures = 0;
    std::chrono::steady_clock::time_point windowStart;
    std::chrono::steady_clock::time_point lockedUntil;
    int lockouts = 0;
    std::chrono::steady_clock::time_point lastSeen;
  };
  void forgetStale(std::chrono::steady_clock::time_point now);

  GuessLimits limits_;
  Clock clock_;
  mutable std::mutex lock_;
  std::unordered_map<std::string, Entry> entries_;
};

}  // namespace pellum::server
