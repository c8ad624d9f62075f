#pragma once

#include <string>
#include <variant>

#include "transcription/transcription_error.h"

namespace pellum {

// A failure below the protocol: the connection could not be made, it broke,
// or it stayed idle past the time-out. The description is the transport's.
struct TransportError {
  enum class Kind { timedOut, cancelled, other };
  Kind kind = Kind::other;
  std::string description;

  bool operator==(const TransportError&) const = default;
};

// What an upload fails with: the protocol's own error, or the transport's.
class UploadError {
 public:
  UploadError(TranscriptionError error) : error_(std::move(error)) {}  // NOLINT: implicit by design
  UploadError(TransportError error) : error_(std::move(error)) {}      // NOLINT: implicit by design

  const TranscriptionError* transcriptionError() const { return std::get_if<TranscriptionError>(&error_); }
  const TransportError* transportError() const { return std::get_if<TransportError>(&error_); }
  std::string description() const;

  bool operator==(const UploadError&) const = default;

 private:
  std::variant<TranscriptionError, TransportError> error_;
};

}  // namespace pellum
