#include "transcription/url_text.h"

namespace pellum {
namespace {

bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHex(char c) { return hexDigitValue(c) >= 0; }

bool isUrlCharacter(char c) {
  if (isAlpha(c) || isDigit(c)) return true;
  constexpr std::string_view kAllowed = "-._~:/?#[]@!$&'()*+,;=";
  return kAllowed.find(c) != std::string_view::npos;
}

bool schemeIsWellFormed(std::string_view text) {
  const auto colon = text.find(':');
  const auto slash = text.find_first_of("/?#");
  if (colon == std::string_view::npos || (slash != std::string_view::npos && slash < colon)) {
    return true;  // no scheme: a relative reference
  }
  std::string_view scheme = text.substr(0, colon);
  if (scheme.empty() || !isAlpha(scheme.front())) return false;
  for (char c : scheme) {
    if (!isAlpha(c) && !isDigit(c) && c != '+' && c != '-' && c != '.') return false;
  }
  return true;
}

}  // namespace

int hexDigitValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool urlTextParses(std::string_view text) {
  if (text.empty()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '%') {
      if (i + 2 >= text.size() || !isHex(text[i + 1]) || !isHex(text[i + 2])) return false;
      i += 2;
      continue;
    }
    if (!isUrlCharacter(c)) return false;
  }
  return schemeIsWellFormed(text);
}

}  // namespace pellum
