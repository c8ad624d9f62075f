#pragma once

#include "engine_config.h"
#include "text_cleanup.h"

namespace pellum::server {

// "clean" mode by an OpenAI-compatible chat model (Ollama, llama.cpp's
// llama-server, Groq, OpenAI): the verbatim transcript goes out with a fixed
// instruction (fix punctuation and casing, drop fillers, keep the wording)
// and the answer is the text. A model that fails, answers nonsense or takes
// longer than the timeout costs the dictation nothing: the built-in
// cleaner's text is used and a log line says why. Thread-safe; blocks for
// at most the timeout.
class ChatCleanup : public TextCleanup {
 public:
  explicit ChatCleanup(ChatSettings settings);
  std::string clean(std::string_view verbatim) override;

 private:
  ChatSettings settings_;
  BuiltInCleanup builtIn_;
};

}  // namespace pellum::server
