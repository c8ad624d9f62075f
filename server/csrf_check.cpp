#include "csrf_check.h"

#include <string>

#include "base/crypto.h"

namespace pellum::server {

bool isSameSitePost(const BrowserPost& post, std::string_view expectedToken) {
  if (!post.formToken || expectedToken.empty() || !constantTimeEqual(*post.formToken, expectedToken))
    return false;
  if (post.fetchSite && *post.fetchSite != "same-origin" && *post.fetchSite != "none") return false;
  if (post.origin && *post.origin != std::string(post.scheme) + "://" + std::string(post.host)) return false;
  return true;
}

bool isDirectHost(std::string_view host) {
  std::string_view name = host;
  if (!name.empty() && name.front() == '[') {
    const auto close = name.find(']');
    if (close == std::string_view::npos) return false;
    const auto rest = name.substr(close + 1);
    if (!rest.empty() && rest.front() != ':') return false;
    name = name.substr(1, close - 1);
    return !name.empty() && name.find_first_not_of("0123456789abcdefABCDEF:.") == std::string_view::npos;
  }
  name = name.substr(0, name.find(':'));
  if (name == "localhost") return true;
  int dots = 0;
  for (char c : name) {
    if (c == '.') {
      ++dots;
    } else if (c < '0' || c > '9') {
      return false;
    }
  }
  return dots == 3;
}

}  // namespace pellum::server
