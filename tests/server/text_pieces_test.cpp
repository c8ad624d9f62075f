#include "text_pieces.h"

#include <gtest/gtest.h>

#include <numeric>

namespace pellum::server {
namespace {

std::string joined(const std::vector<std::string>& pieces) {
  return std::accumulate(pieces.begin(), pieces.end(), std::string());
}

TEST(ServerTextPiecesTest, EmptyTextHasNoPieces) { EXPECT_TRUE(textPieces("").empty()); }

TEST(ServerTextPiecesTest, OneShortSentenceIsOnePiece) {
  EXPECT_EQ(textPieces("Hello world."), (std::vector<std::string>{"Hello world."}));
}

TEST(ServerTextPiecesTest, SentencesSplitAfterTheirBlank) {
  EXPECT_EQ(textPieces("Stop. Go on? Yes!"), (std::vector<std::string>{"Stop. ", "Go on? ", "Yes!"}));
}

TEST(ServerTextPiecesTest, LongSentenceSplitsByWordCount) {
  EXPECT_EQ(textPieces("one two three four five", 2),
            (std::vector<std::string>{"one two ", "three four ", "five"}));
}

TEST(ServerTextPiecesTest, LineBreaksEndPieces) {
  EXPECT_EQ(textPieces("First\nSecond."), (std::vector<std::string>{"First\n", "Second."}));
}

TEST(ServerTextPiecesTest, ConcatenationGivesTheTextBack) {
  for (const char* text : {"He was not. An ill disposed young man, it seems? Yes", "a  b   c", "x\n\ny. z ",
                           "No sé, señor. ¿Qué?"}) {
    EXPECT_EQ(joined(textPieces(text, 3)), text) << text;
  }
}

}  // namespace
}  // namespace pellum::server
