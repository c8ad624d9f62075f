#pragma once

#include <string>

namespace pellum {

// The failure of a live streaming session. The dictation controller looks at
// the kind to decide whether the recording is worth uploading instead.
class StreamingError {
 public:
  enum class Kind { gladiaFailed, notSignedIn, invalidURL, noSpeech };

  static StreamingError gladiaFailed(std::string message);
  static StreamingError notSignedIn();
  static StreamingError invalidURL();
  static StreamingError noSpeech();

  Kind kind() const { return kind_; }
  // The provider's message; empty for every kind but gladiaFailed.
  const std::string& message() const { return message_; }
  // The user-readable text, e.g. "Streaming failed: " + message.
  std::string description() const;

  bool operator==(const StreamingError&) const = default;

 private:
  StreamingError(Kind kind, std::string message) : kind_(kind), message_(std::move(message)) {}

  Kind kind_;
  std::string message_;
};

}  // namespace pellum
