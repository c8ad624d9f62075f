#pragma once

#include <string>

namespace pellum {

// Why a sign-in did not end with a stored token. Each one is shown to the
// user as an alert whose text is `description()`; none changes the cached
// token and none is retried.
class SignInError {
 public:
  enum class Kind {
    browserFailed,        // the pairing page could not be opened
    noPairingInProgress,  // a callback arrived but no sign-in is pending
    stateMismatch,        // the callback belongs to another sign-in
    exchangeFailed,       // the exchange request failed below HTTP
    codeRejected,         // any reply but 200 with a body
    malformedResponse,    // 200, but no JSON object with a string "token"
    tokenNotSaved,        // the keychain refused the token
  };

  static SignInError browserFailed(std::string detail) { return {Kind::browserFailed, std::move(detail)}; }
  static SignInError noPairingInProgress() { return {Kind::noPairingInProgress, {}}; }
  static SignInError stateMismatch() { return {Kind::stateMismatch, {}}; }
  static SignInError exchangeFailed(std::string detail) { return {Kind::exchangeFailed, std::move(detail)}; }
  static SignInError codeRejected() { return {Kind::codeRejected, {}}; }
  static SignInError malformedResponse() { return {Kind::malformedResponse, {}}; }
  static SignInError tokenNotSaved(std::string detail) { return {Kind::tokenNotSaved, std::move(detail)}; }

  Kind kind() const { return kind_; }
  // The browser's, transport's or keychain's own words; empty for the rest.
  const std::string& detail() const { return detail_; }
  // The alert text, e.g. "Pairing failed: server rejected the code.".
  std::string description() const;

  bool operator==(const SignInError&) const = default;

 private:
  SignInError(Kind kind, std::string detail) : kind_(kind), detail_(std::move(detail)) {}

  Kind kind_;
  std::string detail_;
};

}  // namespace pellum
