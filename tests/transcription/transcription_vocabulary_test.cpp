#include "transcription/gladia_languages.h"

#include <gtest/gtest.h>

#include <set>

#include "transcription/configured_address.h"
#include "transcription/streaming_error.h"
#include "transcription/transcription_error.h"
#include "transcription/transcription_mode.h"

namespace pellum {
namespace {

TEST(TranscriptionMode, RawValuesRoundTrip) {
  EXPECT_EQ(rawValue(TranscriptionMode::clean), "clean");
  EXPECT_EQ(rawValue(TranscriptionMode::raw), "raw");
  EXPECT_EQ(transcriptionModeFromRawValue("clean"), TranscriptionMode::clean);
  EXPECT_EQ(transcriptionModeFromRawValue("raw"), TranscriptionMode::raw);
}

TEST(TranscriptionMode, AcceptsOnlyExactRawValues) {
  EXPECT_EQ(transcriptionModeFromRawValue("RAW"), std::nullopt);
  EXPECT_EQ(transcriptionModeFromRawValue("Clean"), std::nullopt);
  EXPECT_EQ(transcriptionModeFromRawValue(""), std::nullopt);
  EXPECT_EQ(transcriptionModeFromRawValue(" raw"), std::nullopt);
}

TEST(StreamingError, Descriptions) {
  EXPECT_EQ(StreamingError::gladiaFailed("boom").description(), "Streaming failed: boom");
  EXPECT_EQ(StreamingError::notSignedIn().description(), "Sign in from the Pellum menu before transcribing.");
  EXPECT_EQ(StreamingError::invalidURL().description(), "Invalid server URL");
  EXPECT_EQ(StreamingError::noSpeech().description(), "No speech detected");
}

TEST(StreamingError, GladiaFailedWithEmptyMessageKeepsTrailingBlank) {
  EXPECT_EQ(StreamingError::gladiaFailed("").description(), "Streaming failed: ");
}

TEST(StreamingError, MessageIsAppendedVerbatim) {
  EXPECT_EQ(StreamingError::gladiaFailed("  \"quoted\" \n").description(),
            "Streaming failed:   \"quoted\" \n");
}

TEST(TranscriptionError, Descriptions) {
  EXPECT_EQ(TranscriptionError::serverError("bad").description(), "Server error: bad");
  EXPECT_EQ(TranscriptionError::invalidURL().description(), "Invalid server URL");
  EXPECT_EQ(TranscriptionError::notSignedIn().description(),
            "Sign in from the Pellum menu before transcribing.");
  EXPECT_EQ(TranscriptionError::unauthorized().description(), "Device access revoked. Sign in again.");
}

TEST(GladiaLanguages, HasNinetyNineUniqueEntriesInNameOrder) {
  const auto all = GladiaLanguages::allLanguages();
  ASSERT_EQ(all.size(), 99u);
  std::set<std::string_view> codes;
  for (std::size_t i = 0; i < all.size(); ++i) {
    codes.insert(all[i].code);
    if (i > 0) {
      EXPECT_LT(all[i - 1].name, all[i].name);
    }
  }
  EXPECT_EQ(codes.size(), 99u);
  EXPECT_EQ(GladiaLanguages::languagesByCode().size(), 99u);
  EXPECT_EQ(all.front(), (GladiaLanguages::Entry{"af", "Afrikaans"}));
  EXPECT_EQ(all.back(), (GladiaLanguages::Entry{"yo", "Yoruba"}));
}

TEST(GladiaLanguages, KeepsTheProvidersOwnCodes) {
  const auto& byCode = GladiaLanguages::languagesByCode();
  EXPECT_EQ(byCode.at("jw").name, "Javanese");
  EXPECT_EQ(byCode.at("he").name, "Hebrew");
  EXPECT_EQ(byCode.at("no").name, "Norwegian");
  EXPECT_EQ(byCode.at("nn").name, "Nynorsk");
  EXPECT_FALSE(byCode.contains("jv"));
}

TEST(GladiaLanguages, DisplayNameOfHawaiian) { EXPECT_EQ(GladiaLanguages::displayName("haw"), "Hawaiian"); }

TEST(GladiaLanguages, DisplayNameDoesNotFoldCase) { EXPECT_EQ(GladiaLanguages::displayName("EN"), "EN"); }

TEST(GladiaLanguages, DisplayNameOfUnknownCodeIsUpperCased) {
  EXPECT_EQ(GladiaLanguages::displayName("xx"), "XX");
  EXPECT_EQ(GladiaLanguages::displayName(""), "");
}

TEST(ConfiguredAddress, EnvironmentWinsOverBuildConfiguration) {
  EXPECT_EQ(pickConfiguredAddress({"http://env:1", "http://info:2"}, kDefaultTranscribeURL), "http://env:1");
}

TEST(ConfiguredAddress, EmptyEnvironmentAndPlaceholderFallThroughToDefault) {
  EXPECT_EQ(pickConfiguredAddress({"", "$(PELLUM_TRANSCRIBE_URL)"}, kDefaultTranscribeURL),
            "http://127.0.0.1:3001");
}

TEST(ConfiguredAddress, MissingEnvironmentUsesBuildConfiguration) {
  EXPECT_EQ(pickConfiguredAddress({std::nullopt, "https://pellum.example"}, kDefaultTranscribeURL),
            "https://pellum.example");
}

TEST(ConfiguredAddress, NoTrimmingOrValidation) {
  EXPECT_EQ(pickConfiguredAddress({" not a url "}, kDefaultTranscribeURL), " not a url ");
}

TEST(ConfiguredAddress, Defaults) {
  EXPECT_EQ(kDefaultTranscribeURL, "http://127.0.0.1:3001");
  EXPECT_EQ(kDefaultWebURL, "http://127.0.0.1:3000");
}

}  // namespace
}  // namespace pellum
