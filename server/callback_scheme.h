#pragma once

#include <string>
#include <string_view>

namespace pellum::server {

// Whether the pairing page may send the browser to `scheme`://: it must match
// ^[a-z][a-z0-9+.-]*$ and must not be one a browser would load as a page or
// run as script (http, https, file, javascript, data).
bool isAllowedCallbackScheme(std::string_view scheme);

// "<scheme>://paired?code=C&state=S", code and state percent-encoded.
std::string pairingRedirect(std::string_view scheme, std::string_view code, std::string_view state);

}  // namespace pellum::server
