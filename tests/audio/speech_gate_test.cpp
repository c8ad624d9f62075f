#include "audio/speech_gate.h"

#include <gtest/gtest.h>

#include <deque>

namespace pellum {
namespace {

// A gate whose classifier answers from a script, one answer per chunk.
struct ScriptedGate {
  explicit ScriptedGate(std::deque<bool> voiced)
      : script(std::move(voiced)), gate([this](const std::string&) {
          const bool answer = script.front();
          script.pop_front();
          ++classified;
          return answer;
        }) {}

  void feed(const std::string& chunk) {
    gate.feed(chunk, [this](const std::string& c) { delivered.push_back(c); });
  }

  std::deque<bool> script;
  int classified = 0;
  SpeechGate gate;
  std::vector<std::string> delivered;
};

TEST(SpeechGate, VoicedUnvoicedVoicedVoiced) {
  ScriptedGate g({true, false, true, true});
  g.feed("1");
  g.feed("2");
  g.feed("3");
  EXPECT_TRUE(g.delivered.empty());
  g.feed("4");
  EXPECT_EQ(g.delivered, (std::vector<std::string>{"3", "4"}));
  g.feed("5");
  g.feed("6");
  EXPECT_EQ(g.delivered, (std::vector<std::string>{"3", "4", "5", "6"}));
  EXPECT_EQ(g.classified, 4);  // nothing is classified once speech is confirmed
}

TEST(SpeechGate, UnvoicedThroughoutDeliversNothing) {
  ScriptedGate g({false, false, false, false});
  for (const char* chunk : {"a", "b", "c", "d"}) g.feed(chunk);
  EXPECT_TRUE(g.delivered.empty());
  EXPECT_FALSE(g.gate.speechDetected());
}

TEST(SpeechGate, OneVoicedChunkStaysHeld) {
  ScriptedGate g({true});
  g.feed("only");
  EXPECT_TRUE(g.delivered.empty());
  EXPECT_EQ(g.gate.heldChunks(), 1u);
  EXPECT_FALSE(g.gate.speechDetected());
}

TEST(SpeechGate, WithoutDetectorTheSecondChunkReleasesBoth) {
  SpeechGate gate;
  std::vector<std::string> delivered;
  auto emit = [&](const std::string& c) { delivered.push_back(c); };
  gate.feed("1", emit);
  EXPECT_TRUE(delivered.empty());
  gate.feed("2", emit);
  EXPECT_EQ(delivered, (std::vector<std::string>{"1", "2"}));
}

TEST(SpeechGate, ResetAfterConfirmationStartsWaitingAgain) {
  ScriptedGate g({true, true, false});
  g.feed("1");
  g.feed("2");
  ASSERT_TRUE(g.gate.speechDetected());
  g.gate.reset();
  EXPECT_FALSE(g.gate.speechDetected());
  EXPECT_EQ(g.gate.consecutiveVoiceCount(), 0);
  EXPECT_EQ(g.gate.heldChunks(), 0u);
  g.feed("3");
  EXPECT_EQ(g.delivered.size(), 2u);
}

TEST(SpeechGate, EmptyChunkIsNotVoiced) {
  ScriptedGate g({});
  g.feed("");
  EXPECT_EQ(g.classified, 0);
  EXPECT_EQ(g.gate.consecutiveVoiceCount(), 0);
}

}  // namespace
}  // namespace pellum
