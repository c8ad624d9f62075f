#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pellum {

// The first candidate that is present, non-empty and not an unexpanded
// build-setting placeholder (one beginning with "$("), else `fallback`.
// Candidates come in priority order (environment first, then the build's own
// configuration). No trimming and no URL validation happens here.
std::string pickConfiguredAddress(const std::vector<std::optional<std::string>>& candidates,
                                  std::string_view fallback);

inline constexpr std::string_view kDefaultTranscribeURL = "http://127.0.0.1:3001";
inline constexpr std::string_view kDefaultWebURL = "http://127.0.0.1:3000";

}  // namespace pellum
