#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace pellum::server {

struct EngineError {
  enum class Kind { unsupportedLanguage, busy, failed };
  Kind kind = Kind::failed;
  std::string description;  // sent to the client as it stands
};

// A finished transcript. `translation` is set when the engine translated the
// speech itself (to the request's target), so no translator is needed.
struct EngineTranscript {
  std::string text;
  std::optional<std::string> translation = std::nullopt;
};

using EngineResult = std::variant<EngineTranscript, EngineError>;

// One utterance being decoded. Not thread-safe: the owner calls it from one
// thread at a time (a session's serial worker queue). Calls may block for
// the decoding or the provider requests they do, so never from an I/O thread.
class SpeechStream {
 public:
  virtual ~SpeechStream() = default;
  // Decodes 16 kHz mono samples.
  virtual void feed(std::span<const std::int16_t> samples) = 0;
  // The best transcript of what was fed so far (may change later).
  virtual std::string partial() = 0;
  // A failure met while audio still arrives (a provider that closed the
  // session): the session ends with it at once instead of at the stop.
  virtual std::optional<EngineError> failure() { return std::nullopt; }
  // Ends the utterance and returns its final transcript ("" for silence).
  // Nothing may be fed afterwards.
  virtual EngineResult finish() = 0;
  // Instead of feed and finish: transcribes a complete recording in one
  // pass, which lets the engine normalise over all of it (more accurate than
  // streaming when the whole recording is at hand, as with an upload).
  virtual EngineResult transcribeWhole(std::span<const std::int16_t> samples) = 0;
};

// What a stream is opened for.
struct SpeechRequest {
  std::vector<std::string> languages;  // as the client listed them
  std::string language;                // the first of them the engine supports
  std::string translateTo;             // "" for no translation
};

// A speech recogniser, local or a provider's. `open` may block while a
// decoder is built or a provider session starts; call it from a worker
// thread. Thread-safe.
class SpeechEngine {
 public:
  virtual ~SpeechEngine() = default;
  virtual bool supports(std::string_view language) const = 0;
  // Whether streams translate to the request's target themselves.
  virtual bool translates() const { return false; }
  virtual std::variant<std::unique_ptr<SpeechStream>, EngineError> open(const SpeechRequest& request) = 0;
};

// The text of a result, or "" for an error (tests and benchmarks).
inline std::string textOf(const EngineResult& result) {
  const auto* transcript = std::get_if<EngineTranscript>(&result);
  return transcript ? transcript->text : std::string();
}

}  // namespace pellum::server
