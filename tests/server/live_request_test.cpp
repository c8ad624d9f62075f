#include "live_request.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

std::variant<LiveRequest, RequestError> parse(std::string_view query) {
  return parseLiveRequest(parseQuery(query));
}

TEST(ServerLiveRequestTest, ReadsTheClientsQuery) {
  auto parsed = parse("provider=gladia&mode=raw&language=fr,en&sample_rate=48000&translate_to=es");
  ASSERT_TRUE(std::holds_alternative<LiveRequest>(parsed));
  const auto& request = std::get<LiveRequest>(parsed);
  EXPECT_EQ(request.mode, TranscriptionMode::raw);
  EXPECT_EQ(request.languages, (std::vector<std::string>{"fr", "en"}));
  EXPECT_EQ(request.sampleRate, 48000);
  EXPECT_EQ(request.translateTo, "es");
}

TEST(ServerLiveRequestTest, DefaultsToCleanEnglishWithoutTranslation) {
  auto parsed = parse("sample_rate=16000&language=");
  ASSERT_TRUE(std::holds_alternative<LiveRequest>(parsed));
  const auto& request = std::get<LiveRequest>(parsed);
  EXPECT_EQ(request.mode, TranscriptionMode::clean);
  EXPECT_EQ(request.languages, (std::vector<std::string>{"en"}));
  EXPECT_EQ(request.translateTo, "");
}

TEST(ServerLiveRequestTest, RefusesBadValues) {
  for (const char* query :
       {"mode=fancy&sample_rate=16000", "mode=clean", "sample_rate=abc", "sample_rate=16000.5",
        "sample_rate=100", "sample_rate=1000000", "sample_rate=-16000"}) {
    auto parsed = parse(query);
    ASSERT_TRUE(std::holds_alternative<RequestError>(parsed)) << query;
    EXPECT_FALSE(std::get<RequestError>(parsed).description.empty());
  }
}

TEST(ServerLiveRequestTest, LanguageListIsTrimmedAndLowered) {
  EXPECT_EQ(languageList(" EN , fr,,de "), (std::vector<std::string>{"en", "fr", "de"}));
  EXPECT_TRUE(languageList("").empty());
}

TEST(ServerLiveRequestTest, FirstSupportedLanguageWins) {
  auto english = [](const std::string& code) { return code == "en"; };
  EXPECT_EQ(firstSupported({"fr", "en", "de"}, english), "en");
  EXPECT_EQ(firstSupported({"fr", "de"}, english), std::nullopt);
}

TEST(ServerLiveRequestTest, UnsupportedLanguagesAreNamed) {
  EXPECT_EQ(unsupportedLanguagesText({"fr"}), "no speech model for French (fr)");
  EXPECT_EQ(unsupportedLanguagesText({"fr", "zz"}), "no speech model for French (fr), zz");
}

}  // namespace
}  // namespace pellum::server
