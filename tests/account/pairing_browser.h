#pragma once

#include <map>
#include <string>

namespace pellum::test {

// The query items of a URL, percent-decoded ("+" as a blank, as the server
// reads them).
std::map<std::string, std::string> queryItems(const std::string& url);

// Does what the user's browser does with a pairing URL on the local server:
// loads the page and presses "Approve" (a same-origin form POST carrying the
// page's form token). Returns the redirect's Location, the callback URL, or
// an empty string when the server did not redirect.
std::string approveInBrowser(unsigned short webPort, const std::string& pairingURL);

}  // namespace pellum::test
