#include "log_text.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

using namespace std::string_literals;

TEST(ServerLogTextTest, EscapesWhatCouldForgeOrColourALine) {
  struct Case {
    std::string text;
    std::string escaped;
  };
  for (const auto& [text, escaped] : std::vector<Case>{
           {"plain text: 1 2 3", "plain text: 1 2 3"},
           {"a\nb", "a\\nb"},
           {"a\r\nb\tc", "a\\r\\nb\\tc"},
           {"\x1b[31mred\x1b[0m", "\\x1b[31mred\\x1b[0m"},
           {"nul\0here"s, "nul\\x00here"},
           {"del\x7f", "del\\x7f"},
           {"back\\slash", "back\\\\slash"},
           {"caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x8e\xa4",
            "caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x8e\xa4"},  // UTF-8 stays
           {"\xc2\x9b"
            "31m",
            "\\xc2\\x9b31m"},                    // C1 CSI
           {"\xff\xfe", "\\xff\\xfe"},           // not UTF-8
           {"\xc3", "\\xc3"},                    // cut short
           {"\xe0\x80\xaf", "\\xe0\\x80\\xaf"},  // overlong
           {"\xed\xa0\x80", "\\xed\\xa0\\x80"},  // surrogate
       }) {
    EXPECT_EQ(escapeForLog(text), escaped) << escaped;
  }
}

}  // namespace
}  // namespace pellum::server
