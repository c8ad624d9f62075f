#include "decoder_budget.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

constexpr std::uint64_t kGiB = 1024ull * 1024 * 1024;

TEST(DecoderBudgetTest, CoresBoundWhenMemoryIsPlenty) {
  EXPECT_EQ(defaultDecoderCount(24 * kGiB, 2), 2 * kLiveStreamsPerCore);
  EXPECT_EQ(defaultDecoderCount(24 * kGiB, 4), 4 * kLiveStreamsPerCore);
}

TEST(DecoderBudgetTest, HalfTheAvailableMemoryBoundsASmallMachine) {
  // 1 GiB available: half of it holds five decoders of 100 MiB.
  EXPECT_EQ(defaultDecoderCount(1 * kGiB, 8), static_cast<int>(kGiB / 2 / kDecoderBytes));
  EXPECT_LT(defaultDecoderCount(1 * kGiB, 8), 8 * kLiveStreamsPerCore);
}

TEST(DecoderBudgetTest, AlwaysOneToTwoHundredFiftySix) {
  EXPECT_EQ(defaultDecoderCount(50ull * 1024 * 1024, 2), 1);
  EXPECT_EQ(defaultDecoderCount(24 * kGiB, 0), kLiveStreamsPerCore);
  EXPECT_EQ(defaultDecoderCount(4096 * kGiB, 512), 256);
}

TEST(DecoderBudgetTest, UnknownMemoryKeepsToEight) {
  EXPECT_EQ(defaultDecoderCount(0, 4), 8);
  EXPECT_EQ(defaultDecoderCount(0, 1), 8);
}

}  // namespace
}  // namespace pellum::server
