#include "callback_scheme.h"

#include <array>

#include "query_string.h"

namespace pellum::server {

bool isAllowedCallbackScheme(std::string_view scheme) {
  if (scheme.empty() || scheme.front() < 'a' || scheme.front() > 'z') return false;
  for (char c : scheme) {
    const bool allowed = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '.' || c == '-';
    if (!allowed) return false;
  }
  constexpr std::array<std::string_view, 5> kRefused{"http", "https", "file", "javascript", "data"};
  for (auto refused : kRefused) {
    if (scheme == refused) return false;
  }
  return true;
}

std::string pairingRedirect(std::string_view scheme, std::string_view code, std::string_view state) {
  return std::string(scheme) + "://paired?code=" + percentEncode(code) + "&state=" + percentEncode(state);
}

}  // namespace pellum::server
