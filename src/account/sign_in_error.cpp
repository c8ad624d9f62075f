#include "account/sign_in_error.h"

namespace pellum {

std::string SignInError::description() const {
  switch (kind_) {
    case Kind::browserFailed:
      return "Sign-in failed: " + detail_;
    case Kind::noPairingInProgress:
      return "No pairing in progress.";
    case Kind::stateMismatch:
      return "State mismatch. Aborted pairing.";
    case Kind::exchangeFailed:
      return "Pairing failed: " + detail_;
    case Kind::codeRejected:
      return "Pairing failed: server rejected the code.";
    case Kind::malformedResponse:
      return "Pairing failed: malformed response.";
    case Kind::tokenNotSaved:
      return "Could not save token: " + detail_;
  }
  return {};
}

}  // namespace pellum
