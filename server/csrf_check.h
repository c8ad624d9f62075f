#pragma once

#include <optional>
#include <string_view>

namespace pellum::server {

// The headers and form field a state-changing browser POST carries.
struct BrowserPost {
  std::optional<std::string_view> origin;         // "Origin"
  std::optional<std::string_view> fetchSite;      // "Sec-Fetch-Site"
  std::string_view host;                          // "Host"
  std::optional<std::string_view> formToken;      // the form's "csrf" field
};

// Whether a form POST came from this server's own pages: the form carries
// the server's secret form token (which other sites cannot read), and when
// the browser says where the request came from, that is this origin.
bool isSameSitePost(const BrowserPost& post, std::string_view expectedToken);

}  // namespace pellum::server
