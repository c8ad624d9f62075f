#include "json_text.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace pellum::server {
namespace {

bool isAscii(std::string_view text) {
  for (char c : text) {
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  }
  return true;
}

TEST(ServerJsonTextTest, NonAsciiIsEscaped) {
  EXPECT_EQ(asciiJsonString("señor"), "\"se\\u00f1or\"");
  EXPECT_EQ(asciiJsonString("😀"), "\"\\ud83d\\ude00\"");
  EXPECT_EQ(asciiJsonString("a\"b\\c\nd"), "\"a\\\"b\\\\c\\nd\"");
}

TEST(ServerJsonTextTest, InvalidUtf8BecomesReplacementCharacter) {
  EXPECT_EQ(asciiJsonString("a\xff"
                            "b"),
            "\"a\\ufffdb\"");
}

TEST(ServerJsonTextTest, MessagesAreAsciiJsonThatRoundTrips) {
  const std::string text = "¿Qué tal? — «bien»";
  for (const auto& message : {rawMessage(text), chunkMessage(text)}) {
    EXPECT_TRUE(isAscii(message)) << message;
    EXPECT_EQ(nlohmann::json::parse(message)["text"], text);
  }
  EXPECT_EQ(rawMessage("hi"), R"({"type":"raw","text":"hi"})");
  EXPECT_EQ(chunkMessage("Hi."), R"({"type":"chunk","text":"Hi."})");
  EXPECT_EQ(doneMessage(), R"({"type":"done"})");
  EXPECT_EQ(errorMessage("no speech detected"), R"({"type":"error","error":"no speech detected"})");
}

TEST(ServerJsonTextTest, ClassifiesClientText) {
  EXPECT_EQ(classifyClientText(R"({"type":"stop"})"), ClientText::stop);
  EXPECT_EQ(classifyClientText(R"( { "type" : "stop", "extra": 1 } )"), ClientText::stop);
  EXPECT_EQ(classifyClientText(R"({"type":"pause"})"), ClientText::unknown);
  EXPECT_EQ(classifyClientText(R"({"type":7})"), ClientText::unknown);
  EXPECT_EQ(classifyClientText(R"(["stop"])"), ClientText::unknown);
  EXPECT_EQ(classifyClientText(R"("stop")"), ClientText::unknown);
  EXPECT_EQ(classifyClientText("42"), ClientText::unknown);
  EXPECT_EQ(classifyClientText("null"), ClientText::unknown);
  EXPECT_EQ(classifyClientText("stop"), ClientText::notJson);
  EXPECT_EQ(classifyClientText(""), ClientText::notJson);
  EXPECT_EQ(classifyClientText("{\"type\":\"stop\""), ClientText::notJson);
}

}  // namespace
}  // namespace pellum::server
