#include "engine_set.h"

#include <sys/stat.h>

#include <chrono>
#include <fstream>
#include <sstream>

#include "chat_cleanup.h"
#include "gladia_engine.h"
#include "openai_engine.h"
#include "openai_wire.h"
#include "provider_http.h"
#include "server_log.h"

namespace pellum::server {
namespace {

using Clock = std::chrono::steady_clock;

bool fileExists(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0;
}

// A key in a file others can read is a key others have.
void warnIfShared(const std::string& path, const EngineConfig& config) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0 || (info.st_mode & (S_IRGRP | S_IROTH)) == 0) return;
  for (const ApiKey* key : {&config.gladia.key, &config.openai.key, &config.chat.key}) {
    if (key->source.starts_with("api_key")) {
      logLine("warning: " + path + " holds an API key and other users can read it (chmod 600 it)");
      return;
    }
  }
}

std::string keyText(const ApiKey& key) {
  if (!key.empty()) return ", key from " + key.source;
  return key.source.empty() ? ", no key" : ", no key (" + key.source + " is unset)";
}

std::string describeEngine(EngineKind kind, const EngineConfig& config) {
  switch (kind) {
    case EngineKind::pocketsphinx:
      return "pocketsphinx (local, English)";
    case EngineKind::gladia:
      return "gladia at " + config.gladia.baseUrl + keyText(config.gladia.key);
    case EngineKind::openai:
      return "openai at " + config.openai.baseUrl + config.openai.path + ", model " + config.openai.model +
             keyText(config.openai.key);
  }
  return "?";
}

std::string elapsedSince(Clock::time_point start) {
  return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count()) +
         " ms";
}

// GET {base}/models: the cheapest request that proves a key (a service
// without the route, as whisper-server, is at least reachable).
std::string checkModels(const std::string& baseUrl, const ApiKey& key, std::chrono::milliseconds timeout) {
  auto url = *parseProviderUrl(baseUrl);
  url.path += "/models";
  HttpCall call{"GET", url, {}, {}};
  if (!key.empty()) call.headers.emplace_back("authorization", "Bearer " + key.value);
  const auto start = Clock::now();
  auto sent = sendHttp(call, timeout);
  if (auto* failure = std::get_if<HttpFailure>(&sent))
    return "failed: " + url.host + ": " + failure->description;
  const auto& answer = std::get<HttpAnswer>(sent);
  if (answer.status >= 200 && answer.status < 300) return "ok (key accepted, " + elapsedSince(start) + ")";
  if (answer.status == 404 || answer.status == 405) return "ok (reachable, " + elapsedSince(start) + ")";
  auto refusal = readChatAnswer(answer.status, answer.headers, answer.body);
  const std::string text = std::holds_alternative<ProviderRefusal>(refusal)
                               ? std::get<ProviderRefusal>(refusal).description
                               : "HTTP " + std::to_string(answer.status);
  return "failed: " + url.host + " answered " + withoutKey(text, key.value);
}

std::string checkStream(SpeechEngine& engine) {
  const auto start = Clock::now();
  auto opened = engine.open(SpeechRequest{{"en"}, "en", {}});
  if (auto* error = std::get_if<EngineError>(&opened)) return "failed: " + error->description;
  return "ok (stream opened in " + elapsedSince(start) + ")";
}

std::string checkEngine(EngineKind kind, const EngineConfig& config) {
  switch (kind) {
    case EngineKind::pocketsphinx: {
      PocketSphinxEngine engine(PocketSphinxOptions{.initialDecoders = 0, .maxDecoders = 1});
      return checkStream(engine);
    }
    case EngineKind::gladia: {
      GladiaEngine engine(config.gladia);
      return checkStream(engine);
    }
    case EngineKind::openai:
      return checkModels(config.openai.baseUrl, config.openai.key, config.openai.timeout);
  }
  return "?";
}

}  // namespace

std::variant<LoadedConfig, ConfigError> loadEngineConfig(const std::string& path,
                                                         const Environment& environment) {
  const std::string file = path.empty() ? defaultEngineConfigPath(environment) : path;
  if (path.empty() && !fileExists(file)) return LoadedConfig{};
  std::ifstream in(file, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  if (!in) return ConfigError{"cannot read " + file};
  auto parsed = parseEngineConfig(text.str(), environment);
  if (auto* error = std::get_if<ConfigError>(&parsed)) return ConfigError{file + ": " + error->description};
  warnIfShared(file, std::get<EngineConfig>(parsed));
  return LoadedConfig{std::get<EngineConfig>(std::move(parsed)), file};
}

EngineSet::EngineSet(const EngineConfig& config, PocketSphinxOptions pocketsphinx)
    : pocketsphinx_(std::make_unique<PocketSphinxEngine>(std::move(pocketsphinx))) {
  auto engineFor = [&](EngineKind kind) -> SpeechEngine* {
    switch (kind) {
      case EngineKind::pocketsphinx:
        usesPocketSphinx_ = true;
        return pocketsphinx_.get();
      case EngineKind::gladia:
        if (!gladia_) gladia_ = std::make_unique<GladiaEngine>(config.gladia);
        return gladia_.get();
      case EngineKind::openai:
        if (!openai_) openai_ = std::make_unique<OpenAiEngine>(config.openai);
        return openai_.get();
    }
    return pocketsphinx_.get();
  };
  live_ = engineFor(config.live);
  upload_ = engineFor(config.upload);
  if (config.cleanup == CleanupKind::chat) {
    cleanup_ = std::make_unique<ChatCleanup>(config.chat);
  } else {
    cleanup_ = std::make_unique<BuiltInCleanup>();
  }
  summary_ = "live=" + std::string(engineName(config.live)) +
             " upload=" + std::string(engineName(config.upload)) +
             " cleanup=" + (config.cleanup == CleanupKind::chat ? "chat" : "builtin");
}

EngineSet::~EngineSet() = default;

bool checkEngines(const LoadedConfig& loaded, std::ostream& out) {
  const auto& config = loaded.config;
  out << "engines file: " << (loaded.source.empty() ? "none, the defaults apply" : loaded.source) << "\n"
      << "live: " << describeEngine(config.live, config) << "\n"
      << "upload: " << describeEngine(config.upload, config) << "\n"
      << "cleanup: "
      << (config.cleanup == CleanupKind::chat
              ? "chat model " + config.chat.model + " at " + config.chat.baseUrl + keyText(config.chat.key) +
                    ", timeout " + std::to_string(config.chat.timeout.count()) + " ms"
              : std::string("builtin"))
      << "\n";
  bool allPassed = true;
  auto report = [&](std::string_view name, const std::string& result) {
    out << "check " << name << ": " << result << "\n";
    allPassed = allPassed && result.starts_with("ok");
  };
  report(engineName(config.live), checkEngine(config.live, config));
  if (config.upload != config.live) report(engineName(config.upload), checkEngine(config.upload, config));
  if (config.cleanup == CleanupKind::chat)
    report("chat", checkModels(config.chat.baseUrl, config.chat.key, config.chat.timeout));
  return allPassed;
}

}  // namespace pellum::server
