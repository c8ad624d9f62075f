#pragma once

#include <string>

namespace pellum {

// The failure of an upload, as the server or the request building reports it.
class TranscriptionError {
 public:
  enum class Kind { serverError, invalidURL, notSignedIn, unauthorized };

  static TranscriptionError serverError(std::string message);
  static TranscriptionError invalidURL();
  static TranscriptionError notSignedIn();
  static TranscriptionError unauthorized();

  Kind kind() const { return kind_; }
  // The server's message; empty for every kind but serverError.
  const std::string& message() const { return message_; }
  // The user-readable text, e.g. "Server error: " + message.
  std::string description() const;

  bool operator==(const TranscriptionError&) const = default;

 private:
  TranscriptionError(Kind kind, std::string message) : kind_(kind), message_(std::move(message)) {}

  Kind kind_;
  std::string message_;
};

}  // namespace pellum
