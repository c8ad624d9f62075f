#pragma once

#include <memory>

#include "engine_config.h"
#include "speech_engine.h"

namespace pellum::server {

// Live dictation relayed to Gladia's real-time API: each stream starts a
// provider session (POST /v2/live), opens its WebSocket, sends the PCM as
// binary frames of about 100 ms and, at the finish, a stop_recording
// message, then waits for the final transcripts (joined in utterance
// order) and the translations when a target was asked for. Any provider
// failure (the start refused, the socket closed with a code other than
// 1000 or before a final transcript, an error message, no final text within
// the deadline) is an EngineError, which the client answers with its upload
// fallback. All provider sockets run on one thread the engine owns; the
// stream's calls (on a session's worker) only post to it and wait for its
// results. Thread-safe.
class GladiaEngine : public SpeechEngine {
 public:
  explicit GladiaEngine(GladiaSettings settings);
  ~GladiaEngine() override;  // cuts the sockets still open and joins the thread

  bool supports(std::string_view language) const override;
  bool translates() const override { return true; }
  std::variant<std::unique_ptr<SpeechStream>, EngineError> open(const SpeechRequest& request) override;

  struct Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

}  // namespace pellum::server
