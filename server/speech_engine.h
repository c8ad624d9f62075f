#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <variant>

namespace pellum::server {

// One utterance being decoded. Not thread-safe: the owner calls it from one
// thread at a time (a session's serial worker queue). Calls may block for
// the decoding they do, so never from an I/O thread.
class SpeechStream {
 public:
  virtual ~SpeechStream() = default;
  // Decodes 16 kHz mono samples.
  virtual void feed(std::span<const std::int16_t> samples) = 0;
  // The best transcript of what was fed so far (may change later).
  virtual std::string partial() = 0;
  // Ends the utterance and returns its final transcript ("" for silence).
  // Nothing may be fed afterwards.
  virtual std::string finish() = 0;
  // Instead of feed and finish: decodes a complete recording in one pass,
  // which lets the engine normalise over all of it (more accurate than
  // streaming when the whole recording is at hand, as with an upload).
  virtual std::string transcribeWhole(std::span<const std::int16_t> samples) = 0;
};

struct EngineError {
  enum class Kind { unsupportedLanguage, busy, failed };
  Kind kind = Kind::failed;
  std::string description;  // sent to the client as it stands
};

// A speech recogniser. `open` may block while a decoder is built; call it
// from a worker thread. Thread-safe.
class SpeechEngine {
 public:
  virtual ~SpeechEngine() = default;
  virtual bool supports(std::string_view language) const = 0;
  virtual std::variant<std::unique_ptr<SpeechStream>, EngineError> open(std::string_view language) = 0;
};

}  // namespace pellum::server
