#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <variant>

#include "engine_config.h"
#include "pocketsphinx_engine.h"
#include "speech_engine.h"
#include "text_cleanup.h"

namespace pellum::server {

struct LoadedConfig {
  EngineConfig config;
  std::string source;  // the file read, or "" when the defaults apply
};

// The engines file at `path`, which must be readable; with no path the
// default file when it exists, else the defaults (PocketSphinx for both
// routes, the built-in cleaner).
std::variant<LoadedConfig, ConfigError> loadEngineConfig(const std::string& path,
                                                         const Environment& environment);

// The engines a configuration names, built once at start and shared by all
// sessions. Thread-safe.
class EngineSet {
 public:
  EngineSet(const EngineConfig& config, PocketSphinxOptions pocketsphinx);
  ~EngineSet();

  SpeechEngine& live() { return *live_; }
  SpeechEngine& upload() { return *upload_; }
  TextCleanup& cleanup() { return *cleanup_; }
  // Null when no route uses it (its decoders are then never built).
  PocketSphinxEngine* pocketSphinx() { return usesPocketSphinx_ ? pocketsphinx_.get() : nullptr; }
  // "live=gladia upload=openai cleanup=builtin"
  const std::string& summary() const { return summary_; }

 private:
  std::unique_ptr<PocketSphinxEngine> pocketsphinx_;
  std::unique_ptr<SpeechEngine> gladia_;
  std::unique_ptr<SpeechEngine> openai_;
  std::unique_ptr<TextCleanup> cleanup_;
  SpeechEngine* live_ = nullptr;
  SpeechEngine* upload_ = nullptr;
  bool usesPocketSphinx_ = false;
  std::string summary_;
};

// `pellum-server engines`: what is configured (keys named by where they
// come from, never shown) and one short request to each engine in use
// (reachable, key accepted). Returns whether every check passed.
bool checkEngines(const LoadedConfig& loaded, std::ostream& out);

}  // namespace pellum::server
