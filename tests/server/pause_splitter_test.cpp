#include "pause_splitter.h"

#include <gtest/gtest.h>

#include <vector>

namespace pellum::server {
namespace {

// Feeds "v" (voice) and "." (silence) frames; returns the cuts made.
std::vector<std::size_t> cuts(PauseSplitter& splitter, std::string_view frames) {
  std::vector<std::size_t> made;
  for (char frame : frames) {
    if (auto cut = splitter.push(frame == 'v')) made.push_back(*cut);
  }
  return made;
}

TEST(PauseSplitterTest, CutsInTheMiddleOfAPauseAfterSpeech) {
  PauseSplitter splitter(0, 4);
  // 3 voiced, then 4 silent: cut after 3 + 2 frames.
  EXPECT_EQ(cuts(splitter, "vvv...."), (std::vector<std::size_t>{5}));
  EXPECT_FALSE(splitter.heardVoice());
}

TEST(PauseSplitterTest, SilenceAloneIsNeverCut) {
  PauseSplitter splitter(0, 4);
  EXPECT_TRUE(cuts(splitter, "....................").empty());
  EXPECT_FALSE(splitter.heardVoice());
}

TEST(PauseSplitterTest, GapsShorterThanThePauseKeepThePieceWhole) {
  PauseSplitter splitter(0, 4);
  EXPECT_TRUE(cuts(splitter, "vv...vv...vv").empty());
  EXPECT_TRUE(splitter.heardVoice());
}

TEST(PauseSplitterTest, APieceIsNeverShorterThanTheMinimum) {
  PauseSplitter splitter(12, 4);
  // The first pause comes too early; the second, after 12 frames, cuts.
  EXPECT_EQ(cuts(splitter, "vv....vvvvvv...."), (std::vector<std::size_t>{14}));
}

TEST(PauseSplitterTest, CountingStartsOverAfterACut) {
  PauseSplitter splitter(0, 4);
  // Cut at 5 leaves 2 silent frames; the next piece is "..vv...." = cut at 6.
  EXPECT_EQ(cuts(splitter, "vvv....vv...."), (std::vector<std::size_t>{5, 6}));
}

}  // namespace
}  // namespace pellum::server
