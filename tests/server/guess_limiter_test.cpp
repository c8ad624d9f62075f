#include "guess_limiter.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

using namespace std::chrono_literals;
using TimePoint = std::chrono::steady_clock::time_point;

class GuessLimiterTest : public ::testing::Test {
 protected:
  GuessLimiter make(GuessLimits limits = {}) {
    return GuessLimiter(limits, [this] { return now_; });
  }
  void fail(GuessLimiter& limiter, const std::string& address, int times) {
    for (int i = 0; i < times; ++i) limiter.recordFailure(address);
  }
  TimePoint now_{std::chrono::hours(1)};
};

TEST_F(GuessLimiterTest, TheTenthFailureInAMinuteLocksTheAddressOutForAMinute) {
  auto limiter = make();
  fail(limiter, "203.0.113.5", 9);
  EXPECT_EQ(limiter.retryAfter("203.0.113.5"), 0s);
  EXPECT_EQ(limiter.recordFailure("203.0.113.5"), 60s);
  EXPECT_EQ(limiter.retryAfter("203.0.113.5"), 60s);
  now_ += 59500ms;
  EXPECT_EQ(limiter.retryAfter("203.0.113.5"), 1s);  // rounded up, never 0 while locked
  now_ += 500ms;
  EXPECT_EQ(limiter.retryAfter("203.0.113.5"), 0s);
}

TEST_F(GuessLimiterTest, OtherAddressesAreNotTouched) {
  auto limiter = make();
  fail(limiter, "203.0.113.5", 10);
  EXPECT_EQ(limiter.retryAfter("203.0.113.6"), 0s);
  EXPECT_EQ(limiter.retryAfter("2001:db8::5"), 0s);
}

TEST_F(GuessLimiterTest, FailuresSpreadOverMoreThanTheWindowNeverLockOut) {
  auto limiter = make();
  for (int i = 0; i < 30; ++i) {
    EXPECT_EQ(limiter.recordFailure("203.0.113.5"), 0s) << i;
    now_ += 7s;  // 9 failures a minute at most
  }
}

TEST_F(GuessLimiterTest, EachLockoutInARowDoublesUpToTheMaximum) {
  auto limiter = make();
  std::vector<std::chrono::seconds> waits;
  for (int round = 0; round < 6; ++round) {
    fail(limiter, "203.0.113.5", 9);
    waits.push_back(limiter.recordFailure("203.0.113.5"));
    now_ += waits.back();
  }
  EXPECT_EQ(waits, (std::vector<std::chrono::seconds>{60s, 120s, 240s, 480s, 900s, 900s}));
}

TEST_F(GuessLimiterTest, AQuietAddressStartsAfresh) {
  auto limiter = make();
  fail(limiter, "203.0.113.5", 10);
  now_ += 60s;
  fail(limiter, "203.0.113.5", 10);  // second lockout: 120 s
  now_ += 120s + 60s + 900s;         // the window and the longest lockout pass in quiet
  fail(limiter, "203.0.113.5", 9);
  EXPECT_EQ(limiter.recordFailure("203.0.113.5"), 60s);
}

TEST_F(GuessLimiterTest, ZeroFailuresMeansNoLimit) {
  auto limiter = make({.failures = 0});
  fail(limiter, "203.0.113.5", 1000);
  EXPECT_EQ(limiter.retryAfter("203.0.113.5"), 0s);
  EXPECT_EQ(limiter.trackedAddresses(), 0u);
}

TEST_F(GuessLimiterTest, TheTableStaysBounded) {
  auto limiter = make({.maxTracked = 100});
  for (int i = 0; i < 1000; ++i) {
    now_ += 1ms;
    limiter.recordFailure("192.0.2." + std::to_string(i));
  }
  EXPECT_LE(limiter.trackedAddresses(), 100u);
}

TEST_F(GuessLimiterTest, AFullTableForgetsQuietAddressesBeforeALockedOutOne) {
  auto limiter = make({.maxTracked = 100});
  for (int i = 0; i < 99; ++i) limiter.recordFailure("192.0.2." + std::to_string(i));
  now_ += 20min;
  fail(limiter, "198.51.100.1", 10);
  ASSERT_EQ(limiter.trackedAddresses(), 100u);
  limiter.recordFailure("203.0.113.9");
  EXPECT_EQ(limiter.trackedAddresses(), 2u);
  EXPECT_EQ(limiter.retryAfter("198.51.100.1"), 60s);
}

}  // namespace
}  // namespace pellum::server
