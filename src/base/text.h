#pragma once

#include <string_view>

namespace pellum {

// Spaces and tabs trimmed at both ends; nothing else.
inline std::string_view trimBlanks(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  const auto last = text.find_last_not_of(" \t");
  return text.substr(first, last - first + 1);
}

}  // namespace pellum
