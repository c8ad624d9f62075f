#pragma once

#include <optional>
#include <string>

namespace pellum {

// The device token requests are authorised with: $PELLUM_TOKEN when set and
// non-empty (for scripts and tests), otherwise the signed-in account's
// cached token, otherwise nothing (signed out). Any thread.
std::optional<std::string> signedInToken();

}  // namespace pellum
