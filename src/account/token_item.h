#pragma once

#include <string>
#include <string_view>

namespace pellum {

// The one keychain item that holds the device token is named by three
// parts: its class (a generic password), its service and its account.

// The item's account.
inline constexpr std::string_view kTokenAccount = "device_token";

// The item's service: the application id, or the fixed "app.pellum.macos"
// when the build has none, so such a build still finds its token on the
// next run.
std::string tokenService(std::string_view appId);

}  // namespace pellum
