#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace pellum {

struct BrowserError {
  std::string description;

  bool operator==(const BrowserError&) const = default;
};

// Opens the sign-in page. On Linux it goes to the user's default browser,
// which runs on its own: the sign-in callback comes back later through the
// URL scheme, to `pellum URL`. On macOS it opens in the system's
// web-authentication sheet, which catches the callback itself and hands it
// to `onCallback`. Failing to open the page is the only error.
//
// Thread contract: main thread; `onCallback` is called there too.
class BrowserOpener {
 public:
  virtual ~BrowserOpener() = default;
  virtual std::optional<BrowserError> open(const std::string& url) = 0;

  // Where an opener that catches the callback URL itself delivers it, and
  // where it reports a sign-in page that failed after it opened (a user
  // who closes the page is not a failure: nothing is reported).
  std::function<void(const std::string& callbackUrl)> onCallback;
  std::function<void(const BrowserError& error)> onFailure;
};

// The platform's opener (browser_opener_xdg.cpp on Linux,
// browser_opener_mac.mm on macOS, a web-authentication session for the
// build's URL scheme).
std::unique_ptr<BrowserOpener> makeSystemBrowserOpener();

}  // namespace pellum
