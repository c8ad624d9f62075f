#include "pocketsphinx_engine.h"

#include <gtest/gtest.h>

#include <thread>

#include "audio/wav.h"
#include "pcm_conversion.h"
#include "recorded_speech.h"

namespace pellum::server {
namespace {

std::vector<std::int16_t> samplesOf(const test::Utterance& utterance, std::string& storage) {
  storage = test::readFile(utterance.wavPath);
  auto parsed = parseWav(storage);
  EXPECT_TRUE(std::holds_alternative<WavInfo>(parsed)) << utterance.wavPath;
  return monoSamples(std::get<WavInfo>(parsed));
}

std::unique_ptr<SpeechStream> openEnglish(SpeechEngine& engine) {
  auto opened = engine.open(SpeechRequest{{"en"}, "en", {}});
  EXPECT_TRUE(std::holds_alternative<std::unique_ptr<SpeechStream>>(opened));
  return std::get<std::unique_ptr<SpeechStream>>(std::move(opened));
}

TEST(ServerPocketSphinxEngineTest, RecognisesMostWordsOfEachRecording) {
  PocketSphinxEngine engine({.initialDecoders = 1, .maxDecoders = 1});
  const auto utterances = test::recordedSpeech();
  ASSERT_EQ(utterances.size(), 5u);
  for (const auto& utterance : utterances) {
    std::string storage;
    const auto samples = samplesOf(utterance, storage);
    auto stream = openEnglish(engine);
    for (std::size_t at = 0; at < samples.size(); at += 480) {
      stream->feed(std::span(samples).subspan(at, std::min<std::size_t>(480, samples.size() - at)));
    }
    const std::string text = textOf(stream->finish());
    EXPECT_GE(test::wordRecall(text, utterance.reference), 0.6) << utterance.id << ": " << text;
  }
}

// Streamed, each recording on a decoder of its own, as a fresh server sees
// them. Whole recordings are normalised over themselves, so one decoder
// serves them all.
TEST(ServerPocketSphinxEngineTest, WholeRecordingsDecodeBetterThanStreamedOnFreshDecoders) {
  double wholeRecall = 0, streamedRecall = 0;
  PocketSphinxEngine whole({.initialDecoders = 1, .maxDecoders = 1});
  for (const auto& utterance : test::recordedSpeech()) {
    std::string storage;
    const auto samples = samplesOf(utterance, storage);
    const std::string wholeText = textOf(openEnglish(whole)->transcribeWhole(samples));
    EXPECT_GE(test::wordRecall(wholeText, utterance.reference), 0.6) << utterance.id << ": " << wholeText;
    wholeRecall += test::wordRecall(wholeText, utterance.reference);
    PocketSphinxEngine streamed({.initialDecoders = 1, .maxDecoders = 1});
    auto stream = openEnglish(streamed);
    stream->feed(samples);
    streamedRecall += test::wordRecall(textOf(stream->finish()), utterance.reference);
  }
  EXPECT_GT(wholeRecall, streamedRecall);
}

TEST(ServerPocketSphinxEngineTest, PartialHypothesisGrowsWhileFeeding) {
  PocketSphinxEngine engine({.initialDecoders = 1, .maxDecoders = 1});
  std::string storage;
  const auto samples = samplesOf(test::recordedSpeech().front(), storage);
  auto stream = openEnglish(engine);
  EXPECT_EQ(stream->partial(), "");
  stream->feed(std::span(samples).first(samples.size() / 2));
  const std::string half = stream->partial();
  EXPECT_FALSE(half.empty());
  stream->feed(std::span(samples).subspan(samples.size() / 2));
  EXPECT_GT(textOf(stream->finish()).size(), half.size());
}

TEST(ServerPocketSphinxEngineTest, SilenceGivesNoText) {
  PocketSphinxEngine engine({.initialDecoders = 1, .maxDecoders = 1});
  auto stream = openEnglish(engine);
  const std::vector<std::int16_t> silence(16000, 0);
  stream->feed(silence);
  EXPECT_EQ(textOf(stream->finish()), "");
}

TEST(ServerPocketSphinxEngineTest, OnlyEnglishIsSupported) {
  PocketSphinxEngine engine({.initialDecoders = 1, .maxDecoders = 1});
  EXPECT_TRUE(engine.supports("en"));
  EXPECT_FALSE(engine.supports("fr"));
  auto opened = engine.open(SpeechRequest{{"fr"}, "fr", {}});
  ASSERT_TRUE(std::holds_alternative<EngineError>(opened));
  EXPECT_EQ(std::get<EngineError>(opened).kind, EngineError::Kind::unsupportedLanguage);
  EXPECT_NE(std::get<EngineError>(opened).description.find("fr"), std::string::npos);
}

TEST(ServerPocketSphinxEngineTest, ExhaustedPoolAnswersBusyAndRecoversWhenAStreamEnds) {
  PocketSphinxEngine engine({.initialDecoders = 1, .maxDecoders = 1});
  auto first = openEnglish(engine);
  auto second = engine.open(SpeechRequest{{"en"}, "en", {}});
  ASSERT_TRUE(std::holds_alternative<EngineError>(second));
  EXPECT_EQ(std::get<EngineError>(second).kind, EngineError::Kind::busy);
  EXPECT_EQ(std::get<EngineError>(second).description, "server busy");
  first.reset();
  auto third = openEnglish(engine);
  EXPECT_NE(third, nullptr);
}

// A server's first session may arrive while its start-up decoder is still
// being built: whichever comes first, the session gets the decoder.
TEST(ServerPocketSphinxEngineTest, StreamOpenedDuringStartUpBuildWaitsForIt) {
  for (int round = 0; round < 3; ++round) {
    PocketSphinxEngine engine({.initialDecoders = 1, .maxDecoders = 1});
    std::thread warmUp([&] { engine.warmUp(); });
    auto opened = engine.open(SpeechRequest{{"en"}, "en", {}});
    warmUp.join();
    EXPECT_TRUE(std::holds_alternative<std::unique_ptr<SpeechStream>>(opened))
        << std::get<EngineError>(opened).description;
  }
}

TEST(ServerPocketSphinxEngineTest, DecoderAbandonedMidUtteranceServesTheNextStream) {
  PocketSphinxEngine engine({.initialDecoders = 1, .maxDecoders = 1});
  const auto utterances = test::recordedSpeech();
  std::string storage;
  const auto samples = samplesOf(utterances[1], storage);
  {
    auto abandoned = openEnglish(engine);  // the client went away before stop
    abandoned->feed(std::span(samples).first(samples.size() / 2));
  }
  auto stream = openEnglish(engine);
  stream->feed(samples);
  const std::string text = textOf(stream->finish());
  EXPECT_GE(test::wordRecall(text, utterances[1].reference), 0.6) << text;
}

}  // namespace
}  // namespace pellum::server
