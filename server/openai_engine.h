#pragma once

#include <memory>

#include "engine_config.h"
#include "speech_engine.h"

namespace pellum::server {

// Speech sent to an OpenAI-compatible POST {base}/audio/transcriptions
// (Groq, OpenAI, whisper.cpp's whisper-server, speaches) as WAV recordings.
// An upload is one request. A live stream is cut at pauses (the voice
// detector's) into pieces that are transcribed while the user still talks,
// so at the finish only the last piece is left; the texts are joined. A
// refusal (an HTTP error, a rate limit, an answer that is not a
// transcription) or no answer within the timeout is an EngineError, and
// after a 429 the engine refuses at once until its retry-after has passed
// instead of making callers wait. Thread-safe; calls block on the network.
class OpenAiEngine : public SpeechEngine {
 public:
  explicit OpenAiEngine(OpenAiSettings settings);
  ~OpenAiEngine() override;

  bool supports(std::string_view language) const override;
  std::variant<std::unique_ptr<SpeechStream>, EngineError> open(const SpeechRequest& request) override;

  struct Service;

 private:
  std::shared_ptr<Service> service_;
};

}  // namespace pellum::server
