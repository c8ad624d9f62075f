#pragma once

#include <string_view>

// Texts that both error enumerations describe themselves with.
namespace pellum::error_texts {

inline constexpr std::string_view notSignedIn = "Sign in from the Pellum menu before transcribing.";
inline constexpr std::string_view invalidURL = "Invalid server URL";

}  // namespace pellum::error_texts
