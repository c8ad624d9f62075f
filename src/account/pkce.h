#pragma once

#include <string>
#include <string_view>

namespace pellum {

// Byte counts of the per-sign-in secrets: the verifier (43 characters once
// encoded) stays on the device, the state (22 characters) ties the callback
// to the sign-in that started it.
inline constexpr std::size_t kVerifierBytes = 32;
inline constexpr std::size_t kStateBytes = 16;

// What a sign-in sends and keeps. Only the challenge and the state go into
// the browser; the verifier travels later, with the code, in the exchange.
struct PairingSecrets {
  std::string verifier;
  std::string state;
  std::string challenge;
};

// The challenge of `verifier`: unpadded URL-safe Base64 of the SHA-256 of
// its UTF-8 bytes (43 characters).
std::string codeChallenge(std::string_view verifier);

// The secrets made from random bytes the caller drew: `verifierBytes` (32)
// and `stateBytes` (16), each encoded as unpadded URL-safe Base64.
PairingSecrets makePairingSecrets(std::string_view verifierBytes, std::string_view stateBytes);

}  // namespace pellum
