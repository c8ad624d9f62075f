#include "log_throttle.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

class ServerLogThrottleTest : public ::testing::Test {
 protected:
  Lines note(std::string_view line, std::chrono::milliseconds at) { return throttle.note(line, start + at); }

  LogThrottle throttle{1s};
  LogThrottle::Clock::time_point start = LogThrottle::Clock::now();
};

TEST_F(ServerLogThrottleTest, FirstLineIsWrittenAtOnce) {
  EXPECT_EQ(note("accept failed: Too many open files", 0ms), Lines{"accept failed: Too many open files"});
}

TEST_F(ServerLogThrottleTest, RepeatsWithinTheIntervalAreCountedNotWritten) {
  note("accept failed: Too many open files", 0ms);
  for (int i = 1; i < 12345; ++i) EXPECT_TRUE(note("accept failed: Too many open files", 500ms).empty());
  EXPECT_EQ(note("accept failed: Too many open files", 1000ms),
            Lines{"accept failed: Too many open files (repeated 12345 times)"});
  EXPECT_TRUE(note("accept failed: Too many open files", 1500ms).empty());
}

TEST_F(ServerLogThrottleTest, OneRepeatSaysTime) {
  note("x", 0ms);
  EXPECT_EQ(note("x", 2000ms), Lines{"x (repeated 1 time)"});
}

TEST_F(ServerLogThrottleTest, ADifferentLineFlushesTheCountFirst) {
  note("accept failed: A", 0ms);
  note("accept failed: A", 10ms);
  note("accept failed: A", 20ms);
  EXPECT_EQ(note("accept failed: B", 30ms),
            (Lines{"accept failed: A (repeated 2 times)", "accept failed: B"}));
  EXPECT_EQ(note("accept failed: A", 40ms), Lines{"accept failed: A"});
}

}  // namespace
}  // namespace pellum::server
