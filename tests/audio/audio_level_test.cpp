#include "audio/audio_level.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace pellum {
namespace {

std::string chunkOf(std::int16_t value, std::size_t samples = 480) {
  std::string chunk(samples * 2, '\0');
  for (std::size_t i = 0; i < samples; ++i) std::memcpy(chunk.data() + 2 * i, &value, 2);
  return chunk;
}

TEST(AudioLevel, FiveThousandClampsToOne) { EXPECT_EQ(chunkLevel(chunkOf(5000)), 1.0f); }

TEST(AudioLevel, JustBelowFullScaleFraction) { EXPECT_NEAR(chunkLevel(chunkOf(4915)), 0.99998, 1e-5); }

TEST(AudioLevel, OneThousand) { EXPECT_NEAR(chunkLevel(chunkOf(1000)), 0.38466, 1e-5); }

TEST(AudioLevel, SilenceIsZero) { EXPECT_EQ(chunkLevel(chunkOf(0)), 0.0f); }

TEST(AudioLevel, NegativeSamplesCountByMagnitude) { EXPECT_NEAR(chunkLevel(chunkOf(-1000)), 0.38466, 1e-5); }

TEST(AudioLevel, TooShortIsZero) {
  EXPECT_EQ(chunkLevel(""), 0.0f);
  EXPECT_EQ(chunkLevel("x"), 0.0f);
}

TEST(AudioLevel, OddTrailingByteIsIgnored) { EXPECT_NEAR(chunkLevel(chunkOf(1000, 3) + "z"), 0.38466, 1e-5); }

}  // namespace
}  // namespace pellum
