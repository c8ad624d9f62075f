#include "engine_config.h"

#include <gtest/gtest.h>

#include <map>

namespace pellum::server {
namespace {

Environment environmentOf(std::map<std::string, std::string> values) {
  return [values = std::move(values)](std::string_view name) -> std::optional<std::string> {
    const auto found = values.find(std::string(name));
    return found == values.end() ? std::nullopt : std::optional<std::string>(found->second);
  };
}

EngineConfig parsed(std::string_view text, std::map<std::string, std::string> environment = {}) {
  auto config = parseEngineConfig(text, environmentOf(std::move(environment)));
  if (auto* error = std::get_if<ConfigError>(&config)) ADD_FAILURE() << error->description;
  return std::holds_alternative<EngineConfig>(config) ? std::get<EngineConfig>(config) : EngineConfig{};
}

std::string errorOf(std::string_view text, std::map<std::string, std::string> environment = {}) {
  auto config = parseEngineConfig(text, environmentOf(std::move(environment)));
  auto* error = std::get_if<ConfigError>(&config);
  return error ? error->description : "(no error)";
}

TEST(EngineConfigTest, AnEmptyFileKeepsTheLocalEngines) {
  const auto config = parsed("");
  EXPECT_EQ(config.live, EngineKind::pocketsphinx);
  EXPECT_EQ(config.upload, EngineKind::pocketsphinx);
  EXPECT_EQ(config.cleanup, CleanupKind::builtIn);
}

TEST(EngineConfigTest, GladiaLiveWithGroqUploadTakesKeysFromTheEnvironment) {
  const auto config = parsed(
      "# Gladia live, Groq's Whisper for the fallback\n"
      "[engines]\nlive = gladia\nupload = openai\n",
      {{"GLADIA_API_KEY", "g-key"}, {"GROQ_API_KEY", "q-key"}});
  EXPECT_EQ(config.live, EngineKind::gladia);
  EXPECT_EQ(config.upload, EngineKind::openai);
  EXPECT_EQ(config.gladia.key.value, "g-key");
  EXPECT_EQ(config.gladia.key.source, "GLADIA_API_KEY");
  EXPECT_EQ(config.openai.baseUrl, "https://api.groq.com/openai/v1");
  EXPECT_EQ(config.openai.key.value, "q-key");
  // Groq bills ten seconds per request at least: live pieces are no shorter.
  EXPECT_EQ(config.openai.minSegment, std::chrono::seconds(10));
}

TEST(EngineConfigTest, KeysInTheFileWinAndOpenAiBaseUsesItsVariable) {
  const auto config = parsed(
      "[engines]\nupload = openai\n[openai]\nbase_url = https://api.openai.com/v1\nmodel = whisper-1\n"
      "[gladia]\napi_key = from-file\n",
      {{"OPENAI_API_KEY", "o-key"}, {"GLADIA_API_KEY", "env"}});
  EXPECT_EQ(config.openai.key.value, "o-key");
  EXPECT_EQ(config.openai.key.source, "OPENAI_API_KEY");
  EXPECT_EQ(config.openai.model, "whisper-1");
  EXPECT_EQ(config.openai.minSegment, std::chrono::milliseconds(0));
  EXPECT_EQ(config.gladia.key.value, "from-file");
  EXPECT_EQ(config.gladia.key.source, "api_key in [gladia]");
}

TEST(EngineConfigTest, LocalWhisperServerNeedsNoKey) {
  const auto config = parsed(
      "[engines]\nlive = openai\nupload = openai\n"
      "[openai]\nbase_url = http://127.0.0.1:8080\npath = /inference\ndetect_language = auto\ntimeout_ms = "
      "60000\n");
  EXPECT_TRUE(config.openai.key.empty());
  EXPECT_EQ(config.openai.path, "/inference");
  EXPECT_EQ(config.openai.detectLanguage, "auto");
  EXPECT_EQ(config.openai.timeout, std::chrono::seconds(60));
}

TEST(EngineConfigTest, ChatCleanupWithANamedKeyVariable) {
  const auto config = parsed(
      "[engines]\ncleanup = chat\n"
      "[chat]\nbase_url = http://localhost:11434/v1\nmodel = llama3.2:1b\napi_key_env = OLLAMA_KEY\n",
      {{"OLLAMA_KEY", "ollama"}});
  EXPECT_EQ(config.cleanup, CleanupKind::chat);
  EXPECT_EQ(config.chat.key.value, "ollama");
  EXPECT_EQ(config.chat.timeout, std::chrono::milliseconds(1500));
}

TEST(EngineConfigTest, MistakesAreNamed) {
  EXPECT_EQ(errorOf("[engines]\nlive = whisper\n"),
            "live in [engines] expects pocketsphinx, gladia or openai, got \"whisper\"");
  EXPECT_EQ(errorOf("[engines]\nupload = gladia\n"),
            "upload in [engines] expects pocketsphinx or openai, got \"gladia\"");
  EXPECT_EQ(errorOf("[engines]\nlive = gladia\n"),
            "the gladia engine needs an API key: set api_key in [gladia] or GLADIA_API_KEY");
  EXPECT_EQ(errorOf("[engine]\nlive = gladia\n"), "unknown section [engine]");
  EXPECT_EQ(errorOf("[openai]\nmodle = x\n"), "unknown key \"modle\" in [openai]");
  EXPECT_EQ(errorOf("live = gladia\n"), "\"live\" is outside any section");
  EXPECT_EQ(errorOf("[openai]\nbase_url = api.groq.com\n"),
            "base_url in [openai] is not an http or https URL: \"api.groq.com\"");
  EXPECT_EQ(errorOf("[openai]\ntimeout_ms = soon\n"),
            "timeout_ms in [openai] expects milliseconds from 1 to 600000");
  EXPECT_EQ(errorOf("[engines]\ncleanup = chat\n"), "cleanup = chat needs base_url and model in [chat]");
  EXPECT_EQ(errorOf("[engines]\nlive = gladia\nlive = openai\n").substr(0, 7), "line 3:");
}

TEST(EngineConfigTest, DefaultPathFollowsXdg) {
  EXPECT_EQ(defaultEngineConfigPath(environmentOf({{"XDG_CONFIG_HOME", "/x"}, {"HOME", "/h"}})),
            "/x/pellum-server/engines.conf");
  EXPECT_EQ(defaultEngineConfigPath(environmentOf({{"HOME", "/h"}})),
            "/h/.config/pellum-server/engines.conf");
}

TEST(EngineConfigTest, StoreSectionNamesTheSharedStore) {
  EXPECT_EQ(parsed("").storeUrl, "");
  EXPECT_EQ(parsed("[store]\nurl = postgres://pellum@10.0.0.5:5432/pellum\n").storeUrl,
            "postgres://pellum@10.0.0.5:5432/pellum");
  EXPECT_EQ(errorOf("[store]\nurl = /var/lib/pellum.sqlite3\n"),
            "url in [store] expects a postgresql:// URL, got \"/var/lib/pellum.sqlite3\"");
  EXPECT_EQ(errorOf("[store]\npath = x\n"), "unknown key \"path\" in [store]");
}

}  // namespace
}  // namespace pellum::server
