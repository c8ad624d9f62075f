#include "csrf_check.h"

#include <string>

#include "pkce.h"

namespace pellum::server {

bool isSameSitePost(const BrowserPost& post, std::string_view expectedToken) {
  if (!post.formToken || expectedToken.empty() || !constantTimeEqual(*post.formToken, expectedToken)) return false;
  if (post.fetchSite && *post.fetchSite != "same-origin" && *post.fetchSite != "none") return false;
  if (post.origin && *post.origin != "http://" + std::string(post.host)) return false;
  return true;
}

}  // namespace pellum::server
