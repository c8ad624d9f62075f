#include "account/pkce.h"

#include "base/crypto.h"

namespace pellum {

std::string codeChallenge(std::string_view verifier) { return base64UrlEncode(sha256(verifier)); }

PairingSecrets makePairingSecrets(std::string_view verifierBytes, std::string_view stateBytes) {
  PairingSecrets secrets;
  secrets.verifier = base64UrlEncode(verifierBytes);
  secrets.challenge = codeChallenge(secrets.verifier);
  secrets.state = base64UrlEncode(stateBytes);
  return secrets;
}

}  // namespace pellum
