#include "query_string.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

TEST(ServerQueryStringTest, SplitsPathAndQuery) {
  const auto target =
      parseTarget("/transcribe/stream?provider=gladia&mode=clean&language=en,fr&sample_rate=16000");
  EXPECT_EQ(target.path, "/transcribe/stream");
  EXPECT_EQ(target.query.at("language"), "en,fr");
  EXPECT_EQ(target.query.at("sample_rate"), "16000");
}

TEST(ServerQueryStringTest, DecodesEscapesAndPlus) {
  const auto items = parseQuery("device_name=Ann%27s+Laptop&state=a%2Fb&empty=&flag");
  EXPECT_EQ(items.at("device_name"), "Ann's Laptop");
  EXPECT_EQ(items.at("state"), "a/b");
  EXPECT_EQ(items.at("empty"), "");
  EXPECT_EQ(items.at("flag"), "");
}

TEST(ServerQueryStringTest, FirstOfRepeatedKeysWins) { EXPECT_EQ(parseQuery("a=1&a=2").at("a"), "1"); }

TEST(ServerQueryStringTest, MalformedEscapesStayAsWritten) {
  EXPECT_EQ(percentDecode("100%"), "100%");
  EXPECT_EQ(percentDecode("%zz%4"), "%zz%4");
  EXPECT_EQ(percentDecode("%41"), "A");
}

TEST(ServerQueryStringTest, NoQuery) {
  const auto target = parseTarget("/");
  EXPECT_EQ(target.path, "/");
  EXPECT_TRUE(target.query.empty());
}

TEST(ServerQueryStringTest, EncodeRoundTrips) {
  const std::string text = "a b&c=d/é~";
  EXPECT_EQ(percentEncode(text), "a%20b%26c%3Dd%2F%C3%A9~");
  EXPECT_EQ(percentDecode(percentEncode(text)), text);
}

}  // namespace
}  // namespace pellum::server
