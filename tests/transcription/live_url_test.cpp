#include "transcription/live_url.h"

#include <gtest/gtest.h>

#include "transcription/url_text.h"

namespace pellum {
namespace {

TEST(LiveUrl, FullShapeWithTranslation) {
  EXPECT_EQ(
      liveStreamURL("http://127.0.0.1:3001", TranscriptionMode::clean, "en,fr", std::string("de"), 16000),
      "ws://127.0.0.1:3001/transcribe/stream?provider=gladia&mode=clean&language=en,fr&sample_rate=16000"
      "&translate_to=de");
}

TEST(LiveUrl, HttpsBecomesWssAndHttpBecomesWs) {
  EXPECT_EQ(webSocketBase("https://api.example"), "wss://api.example");
  EXPECT_EQ(webSocketBase("http://api.example"), "ws://api.example");
}

TEST(LiveUrl, SubstitutionIsPlainAndEverywhere) {
  EXPECT_EQ(webSocketBase("http://a/?next=https://b"), "ws://a/?next=wss://b");
}

TEST(LiveUrl, NoTranslationKeyForMissingOrEmptyTarget) {
  const auto withoutTarget = liveStreamURL("http://h", TranscriptionMode::raw, "en", std::nullopt, 16000);
  EXPECT_EQ(withoutTarget, "ws://h/transcribe/stream?provider=gladia&mode=raw&language=en&sample_rate=16000");
  EXPECT_EQ(liveStreamURL("http://h", TranscriptionMode::raw, "en", std::string(), 16000), withoutTarget);
}

TEST(LiveUrl, SampleRateRoundsHalvesAwayFromZero) {
  auto rateOf = [](double rate) {
    const auto url = liveStreamURL("http://h", TranscriptionMode::clean, "en", std::nullopt, rate);
    return url.substr(url.find("sample_rate=") + 12);
  };
  EXPECT_EQ(rateOf(16000.4), "16000");
  EXPECT_EQ(rateOf(16000.5), "16001");
  EXPECT_EQ(rateOf(44099.5), "44100");
  EXPECT_EQ(rateOf(-0.5), "-1");
}

TEST(LiveUrl, ValuesAreNotPercentEncoded) {
  const auto url = liveStreamURL("http://h", TranscriptionMode::clean, "x y", std::nullopt, 16000);
  EXPECT_NE(url.find("language=x y&"), std::string::npos);
  EXPECT_FALSE(urlTextParses(url));
}

TEST(UrlText, AcceptsOrdinaryUrls) {
  EXPECT_TRUE(
      urlTextParses("ws://127.0.0.1:3001/transcribe/stream?provider=gladia&mode=clean&language=en,fr"));
  EXPECT_TRUE(urlTextParses("https://[::1]:8443/transcribe"));
  EXPECT_TRUE(urlTextParses("http://h/a%20b"));
  EXPECT_TRUE(urlTextParses("relative/path"));
}

TEST(UrlText, RejectsWhatCannotBeAUrl) {
  EXPECT_FALSE(urlTextParses(""));
  EXPECT_FALSE(urlTextParses("http://h/a b"));
  EXPECT_FALSE(urlTextParses("http://h/\xC3\xA9"));
  EXPECT_FALSE(urlTextParses("http://h/%zz"));
  EXPECT_FALSE(urlTextParses("http://h/%2"));
  EXPECT_FALSE(urlTextParses("1http://h"));
  EXPECT_FALSE(urlTextParses("http://h/{x}"));
}

}  // namespace
}  // namespace pellum
