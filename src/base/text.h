#pragma once

#include <string_view>

namespace pellum {

// `text` without any of `characters` at either end.
inline std::string_view trimmed(std::string_view text, std::string_view characters) {
  const auto first = text.find_first_not_of(characters);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(characters) - first + 1);
}

// Spaces and tabs trimmed at both ends; nothing else.
inline std::string_view trimBlanks(std::string_view text) { return trimmed(text, " \t"); }

}  // namespace pellum
