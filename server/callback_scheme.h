#pragma once

#include <string>
#include <string_view>

namespace pellum::server {

// Whether the pairing page may send the browser to `scheme`://: an app's own
// scheme, matching ^[a-z][a-z0-9+.-]*$ and not one of the well-known schemes
// of the web, of files and of other programs (http, file, javascript, data,
// ftp, mailto, tel, ssh, view-source, ...).
bool isAllowedCallbackScheme(std::string_view scheme);

// "<scheme>://paired?code=C&state=S", code and state percent-encoded.
std::string pairingRedirect(std::string_view scheme, std::string_view code, std::string_view state);

}  // namespace pellum::server
