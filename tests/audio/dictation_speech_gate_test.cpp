// The gate every dictation uses, on recorded speech (pocketsphinx-testdata)
// and on silence.
#include "audio/dictation_speech_gate.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <variant>

#include "audio/dictation_format.h"
#include "audio/pcm_chunker.h"
#include "audio/wav.h"

namespace pellum {
namespace {

std::string recordedSpeechPcm() {
  const std::filesystem::path dir = "/usr/share/pocketsphinx/test/data/librivox";
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    if (entry.path().extension() != ".wav") continue;
    std::ifstream in(entry.path(), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    const auto parsed = parseWav(bytes);
    if (const auto* info = std::get_if<WavInfo>(&parsed)) return std::string(info->data);
  }
  return {};
}

struct Fed {
  std::vector<std::string> emitted;
  std::string remainder;
};

Fed feedAll(DictationSpeechGate& gate, const std::string& pcm, std::size_t remainderBytes) {
  PcmChunker chunker;
  Fed fed;
  const auto emit = [&](const std::string& chunk) { fed.emitted.push_back(chunk); };
  for (const auto& chunk : chunker.append(pcm)) gate.feed(chunk, emit);
  fed.remainder.assign(remainderBytes, '\x01');
  gate.finish(fed.remainder, emit);
  return fed;
}

TEST(DictationSpeechGate, UsesTheDetectorAtTheDictationRate) {
  DictationSpeechGate gate;
  EXPECT_TRUE(gate.hasDetector());
  EXPECT_EQ(PcmChunker::kChunkBytes, kDictationChunkBytes);
  EXPECT_EQ(kDictationChunkBytes, 960u);
}

TEST(DictationSpeechGate, SilenceLetsNothingThroughNotEvenTheLastPartialChunk) {
  DictationSpeechGate gate;
  const Fed fed = feedAll(gate, std::string(kDictationChunkBytes * 50, '\0'), 100);
  EXPECT_FALSE(gate.speechDetected());
  EXPECT_TRUE(fed.emitted.empty());
}

TEST(DictationSpeechGate, SpeechPassesAndTheLastPartialChunkFollowsIt) {
  const std::string pcm = recordedSpeechPcm();
  ASSERT_FALSE(pcm.empty()) << "no recorded speech in pocketsphinx-testdata";
  DictationSpeechGate gate;
  const Fed fed = feedAll(gate, pcm, 100);
  EXPECT_TRUE(gate.speechDetected());
  ASSERT_GT(fed.emitted.size(), 2u);
  EXPECT_EQ(fed.emitted.back(), fed.remainder);
  EXPECT_EQ(fed.emitted.front().size(), kDictationChunkBytes);
}

TEST(DictationSpeechGate, ResetWaitsForSpeechAgain) {
  DictationSpeechGate gate;
  feedAll(gate, recordedSpeechPcm(), 0);
  ASSERT_TRUE(gate.speechDetected());
  gate.reset();
  EXPECT_FALSE(gate.speechDetected());
  const Fed fed = feedAll(gate, std::string(kDictationChunkBytes * 10, '\0'), 10);
  EXPECT_TRUE(fed.emitted.empty());
}

}  // namespace
}  // namespace pellum
