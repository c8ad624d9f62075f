#pragma once

#include <optional>
#include <string>

namespace pellum {

// The device token requests are authorised with: $PELLUM_TOKEN when set and
// non-empty, otherwise nothing (signed out).
std::optional<std::string> signedInToken();

}  // namespace pellum
