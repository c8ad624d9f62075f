#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pellum {

// What the pairing page hands back through the URL scheme.
struct PairingCallback {
  std::string code;
  std::string state;

  bool operator==(const PairingCallback&) const = default;
};

// Reads "<urlScheme>://paired?code=C&state=S". Nothing (to be ignored
// silently) unless the scheme equals `urlScheme` and the host equals
// "paired", both exactly and case-sensitively, and the query holds a "code"
// and a "state" item with a value ("code=" counts: its value is empty). The
// first such item of each name wins; values are percent-decoded ("+" stays
// "+"), and a query that cannot be decoded is ignored too.
std::optional<PairingCallback> parsePairingCallback(std::string_view url, std::string_view urlScheme);

// Whether a callback's state may be exchanged: only when a sign-in is
// pending (both its state and verifier are set) and the states are equal.
enum class CallbackCheck { accepted, noPairingInProgress, stateMismatch };

CallbackCheck checkCallbackState(std::string_view returnedState,
                                 const std::optional<std::string>& pendingState,
                                 const std::optional<std::string>& pendingVerifier);

}  // namespace pellum
