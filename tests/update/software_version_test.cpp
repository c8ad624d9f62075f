#include "update/software_version.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

int sign(int value) { return value < 0 ? -1 : (value > 0 ? 1 : 0); }

struct Pair {
  const char* older;
  const char* newer;
};

class NewerVersion : public ::testing::TestWithParam<Pair> {};

TEST_P(NewerVersion, IsOrderedBothWays) {
  EXPECT_EQ(sign(compareVersions(GetParam().older, GetParam().newer)), -1);
  EXPECT_EQ(sign(compareVersions(GetParam().newer, GetParam().older)), 1);
}

INSTANTIATE_TEST_SUITE_P(Versions, NewerVersion,
                         ::testing::Values(Pair{"0.1.0", "0.2.0"}, Pair{"1.9", "1.10"}, Pair{"1.2", "1.2.1"},
                                           Pair{"2.0b2", "2.0"}, Pair{"2.0b1", "2.0b2"},
                                           Pair{"2.0alpha", "2.0beta"}, Pair{"2.0b9", "2.0.1"},
                                           Pair{"99", "100"}, Pair{"1.0", "1.0.0.1"}, Pair{"9.99.99", "10"},
                                           Pair{"1.0-rc1", "1.0"}));

TEST(SameVersion, TrailingZerosAndSeparatorsDoNotCount) {
  EXPECT_EQ(compareVersions("1.2", "1.2.0"), 0);
  EXPECT_EQ(compareVersions("1.2.0", "1.2"), 0);
  EXPECT_EQ(compareVersions("1.02", "1.2"), 0);
  EXPECT_EQ(compareVersions("1-2", "1.2"), 0);
  EXPECT_EQ(compareVersions("2.0B1", "2.0b1"), 0);
  EXPECT_EQ(compareVersions("", ""), 0);
}

TEST(SameVersion, VeryLongNumbersCompareByValue) {
  EXPECT_LT(compareVersions("1.99999999999999999999", "1.100000000000000000000"), 0);
  EXPECT_EQ(compareVersions("1.000000000000000000007", "1.7"), 0);
}

TEST(ComparableVersion, NeedsADigit) {
  EXPECT_TRUE(isComparableVersion("1.2"));
  EXPECT_TRUE(isComparableVersion("120"));
  EXPECT_FALSE(isComparableVersion(""));
  EXPECT_FALSE(isComparableVersion("latest"));
}

}  // namespace
}  // namespace pellum
