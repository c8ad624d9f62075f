#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "apertium_pipeline.h"
#include "translator.h"

namespace pellum::server {

// Translates with Debian's Apertium. Each pair runs as a persistent
// null-flushing pipeline, started on its first use and kept (a few ms per
// text instead of ~180 ms); should it fail, the text goes through a one-shot
// `apertium -u MODE` instead. A pair is available when its mode file is
// installed in `modesDir`. A one-shot call that has not finished after
// `oneShotTimeout` is killed, with every process it started, and fails.
class ApertiumTranslator : public Translator {
 public:
  static constexpr std::chrono::milliseconds kOneShotTimeout{10000};

  explicit ApertiumTranslator(std::string modesDir = "/usr/share/apertium/modes",
                              std::string program = "apertium",
                              std::chrono::milliseconds oneShotTimeout = kOneShotTimeout);

  bool hasPair(std::string_view from, std::string_view to) const override;
  std::variant<std::string, TranslationError> translate(std::string_view text, std::string_view from,
                                                        std::string_view to) override;

 private:
  std::string installedMode(std::string_view from, std::string_view to) const;
  ApertiumPipeline* pipelineFor(const std::string& mode);
  std::variant<std::string, TranslationError> translateOnce(std::string_view text, const std::string& mode);

  std::string modesDir_;
  std::string program_;
  std::chrono::milliseconds oneShotTimeout_;
  std::mutex mutex_;
  std::map<std::string, std::unique_ptr<ApertiumPipeline>> pipelines_;
};

}  // namespace pellum::server
