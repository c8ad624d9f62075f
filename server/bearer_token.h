#pragma once

#include <optional>
#include <string_view>

namespace pellum::server {

// The token of an "Authorization: Bearer TOKEN" header value (the scheme
// name in any letter case); nothing for another scheme or an empty token.
std::optional<std::string_view> bearerToken(std::string_view authorization);

}  // namespace pellum::server
