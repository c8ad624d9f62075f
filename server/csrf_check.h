#pragma once

#include <optional>
#include <string_view>

namespace pellum::server {

// The headers and form field a state-changing browser POST carries.
struct BrowserPost {
  std::optional<std::string_view> origin;     // "Origin"
  std::optional<std::string_view> fetchSite;  // "Sec-Fetch-Site"
  std::string_view host;                      // "Host"
  std::optional<std::string_view> formToken;  // the form's "csrf" field
  // How the browser reached us: "https" behind a proxy that ends TLS.
  std::string_view scheme = "http";
};

// Whether a form POST came from this server's own pages: the form carries
// the server's secret form token (which other sites cannot read), and when
// the browser says where the request came from, that is this origin.
bool isSameSitePost(const BrowserPost& post, std::string_view expectedToken);

// Whether a Host header names this machine directly: an IP literal or
// "localhost", with or without a port. A web page whose own name was made to
// resolve to 127.0.0.1 (DNS rebinding) arrives with its name here, and could
// otherwise read the pages and their form secret as if it were this server.
bool isDirectHost(std::string_view host);

}  // namespace pellum::server
