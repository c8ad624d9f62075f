#include "transcription/streaming_error.h"

#include "transcription/error_texts.h"

namespace pellum {

StreamingError StreamingError::gladiaFailed(std::string message) {
  return {Kind::gladiaFailed, std::move(message)};
}
StreamingError StreamingError::notSignedIn() { return {Kind::notSignedIn, {}}; }
StreamingError StreamingError::invalidURL() { return {Kind::invalidURL, {}}; }
StreamingError StreamingError::noSpeech() { return {Kind::noSpeech, {}}; }

std::string StreamingError::description() const {
  switch (kind_) {
    case Kind::gladiaFailed:
      return "Streaming failed: " + message_;
    case Kind::notSignedIn:
      return std::string(error_texts::notSignedIn);
    case Kind::invalidURL:
      return std::string(error_texts::invalidURL);
    case Kind::noSpeech:
      return "No speech detected";
  }
  return {};
}

}  // namespace pellum
