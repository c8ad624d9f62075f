#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pellum {

// The account web service's base address: the environment's
// PELLUM_WEB_URL, then the build's configured value, skipping absent and
// empty values and unexpanded "$(" placeholders; else the local server,
// http://127.0.0.1:3000. The text is not validated here.
std::string resolveWebBase(const std::optional<std::string>& fromEnvironment,
                           const std::optional<std::string>& fromBuild);

// The callback scheme: the build's value, or "pellum" when it has none.
std::string resolveUrlScheme(std::string_view fromBuild);

}  // namespace pellum
