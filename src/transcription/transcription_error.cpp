#include "transcription/transcription_error.h"

#include "transcription/error_texts.h"

namespace pellum {

TranscriptionError TranscriptionError::serverError(std::string message) {
  return {Kind::serverError, std::move(message)};
}
TranscriptionError TranscriptionError::invalidURL() { return {Kind::invalidURL, {}}; }
TranscriptionError TranscriptionError::notSignedIn() { return {Kind::notSignedIn, {}}; }
TranscriptionError TranscriptionError::unauthorized() { return {Kind::unauthorized, {}}; }

std::string TranscriptionError::description() const {
  switch (kind_) {
    case Kind::serverError:
      return "Server error: " + message_;
    case Kind::invalidURL:
      return std::string(error_texts::invalidURL);
    case Kind::notSignedIn:
      return std::string(error_texts::notSignedIn);
    case Kind::unauthorized:
      return "Device access revoked. Sign in again.";
  }
  return {};
}

}  // namespace pellum
