#include "guess_limiter.h"

#include <algorithm>
#include <cstdint>

namespace pellum::server {
namespace {

using std::chrono::seconds;
using TimePoint = std::chrono::steady_clock::time_point;

seconds wholeSecondsUntil(TimePoint when, TimePoint now) {
  const auto left = when - now;
  if (left <= TimePoint::duration::zero()) return seconds(0);
  return std::chrono::ceil<seconds>(left);
}

}  // namespace

GuessLimiter::GuessLimiter(GuessLimits limits, Clock clock) : limits_(limits), clock_(std::move(clock)) {}

seconds GuessLimiter::retryAfter(const std::string& address) {
  if (limits_.failures <= 0) return seconds(0);
  std::lock_guard guard(lock_);
  const auto found = entries_.find(address);
  if (found == entries_.end()) return seconds(0);
  return wholeSecondsUntil(found->second.lockedUntil, clock_());
}

seconds GuessLimiter::recordFailure(const std::string& address) {
  if (limits_.failures <= 0) return seconds(0);
  std::lock_guard guard(lock_);
  const TimePoint now = clock_();
  if (entries_.size() >= limits_.maxTracked && !entries_.count(address)) forgetStale(now);
  Entry& entry = entries_[address];
  // A streak of lockouts ends once the address has been quiet long enough.
  if (entry.lockouts > 0 && now - entry.lastSeen >= limits_.window + limits_.maxLockout) entry.lockouts = 0;
  entry.lastSeen = now;
  if (entry.failures == 0 || now - entry.windowStart >= limits_.window) {
    entry.failures = 0;
    entry.windowStart = now;
  }
  if (++entry.failures < limits_.failures) return seconds(0);
  // Each lockout in a row doubles the wait, so a patient guesser gains
  // little by waiting each one out.
  const int doublings = std::min(entry.lockouts, 20);
  const seconds wait =
      std::min<seconds>(limits_.lockout * (std::int64_t{1} << doublings), limits_.maxLockout);
  ++entry.lockouts;
  entry.failures = 0;
  entry.lockedUntil = now + wait;
  return wait;
}

std::size_t GuessLimiter::trackedAddresses() const {
  std::lock_guard guard(lock_);
  return entries_.size();
}

// Drops every address whose window and lockout are both over and whose
// lockout streak has had time to cool down; if the table is still full, the
// one seen longest ago goes.
void GuessLimiter::forgetStale(TimePoint now) {
  const auto coolDown = limits_.window + limits_.maxLockout;
  std::erase_if(entries_, [&](const auto& item) {
    return item.second.lockedUntil <= now && now - item.second.lastSeen >= coolDown;
  });
  if (entries_.size() < limits_.maxTracked) return;
  const auto oldest = std::min_element(entries_.begin(), entries_.end(), [](const auto& a, const auto& b) {
    return a.second.lastSeen < b.second.lastSeen;
  });
  if (oldest != entries_.end()) entries_.erase(oldest);
}

}  // namespace pellum::server
