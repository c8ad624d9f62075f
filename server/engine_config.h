#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace pellum::server {

enum class EngineKind { pocketsphinx, gladia, openai };
enum class CleanupKind { builtIn, chat };

std::string_view engineName(EngineKind kind);

// An API key and where it came from ("api_key in [gladia]", "GLADIA_API_KEY"),
// so it can be reported without being shown.
struct ApiKey {
  std::string value;
  std::string source;
  bool empty() const { return value.empty(); }
};

struct GladiaSettings {
  std::string baseUrl = "https://api.gladia.io";
  ApiKey key;
  std::string region;                     // "", "us-west" or "eu-west"
  std::string translationModel = "base";  // or "enhanced"
  // The session's start: the init request and the socket's handshake.
  std::chrono::milliseconds startTimeout{5000};
  // From the stop to the last final transcript.
  std::chrono::milliseconds finalTimeout{10000};
};

// Any OpenAI-compatible /audio/transcriptions service: Groq, OpenAI,
// whisper.cpp's whisper-server, speaches.
struct OpenAiSettings {
  std::string baseUrl = "https://api.groq.com/openai/v1";
  ApiKey key;
  std::string model = "whisper-large-v3-turbo";
  std::string path = "/audio/transcriptions";  // after the base URL
  // Sent as "language" when the client allows several languages and the
  // service is to detect which: "" leaves the field out (OpenAI, Groq);
  // whisper-server wants "auto".
  std::string detectLanguage;
  std::string prompt;
  std::chrono::milliseconds timeout{30000};
  // Live dictation is sent in pieces split at pauses; a service that bills
  // a minimum per request (Groq: 10 s) gets pieces no shorter than that.
  std::chrono::milliseconds minSegment{0};
};

// An OpenAI-compatible /chat/completions model for "clean" mode.
struct ChatSettings {
  std::string baseUrl;
  ApiKey key;
  std::string model;
  std::chrono::milliseconds timeout{1500};
};

struct EngineConfig {
  EngineKind live = EngineKind::pocketsphinx;
  EngineKind upload = EngineKind::pocketsphinx;
  CleanupKind cleanup = CleanupKind::builtIn;
  GladiaSettings gladia;
  OpenAiSettings openai;
  ChatSettings chat;
  // [store] url: the device store that several servers share (a PostgreSQL
  // URL); "" is the SQLite file in the data directory.
  std::string storeUrl;
};

struct ConfigError {
  std::string description;
};

using Environment = std::function<std::optional<std::string>(std::string_view)>;

// Reads an engines file (INI: sections [engines], [gladia], [openai], [chat],
// [store]; "key = value" lines; ";" or "#" starts a comment line). Keys missing from
// the file come from the environment: GLADIA_API_KEY for Gladia, and for the
// OpenAI-compatible sections GROQ_API_KEY or OPENAI_API_KEY when the base URL
// is Groq's or OpenAI's, or the variable named by "api_key_env". Unknown
// sections, keys and values are errors, as is an engine without what it
// needs (Gladia without a key, a chat clean-up without a model).
std::variant<EngineConfig, ConfigError> parseEngineConfig(std::string_view text,
                                                          const Environment& environment);

// The file read when no --config is given: $XDG_CONFIG_HOME/pellum-server/engines.conf
// (~/.config when XDG_CONFIG_HOME is unset).
std::string defaultEngineConfigPath(const Environment& environment);

}  // namespace pellum::server
