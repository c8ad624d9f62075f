#pragma once

#include <memory>
#include <optional>
#include <string>

namespace pellum {

struct BrowserError {
  std::string description;

  bool operator==(const BrowserError&) const = default;
};

// Opens a web page in the user's default browser. The browser runs on its
// own: nothing comes back from it but, possibly, a later callback through
// the URL scheme. Failing to hand the page over is the only error.
//
// Thread contract: main thread.
class BrowserOpener {
 public:
  virtual ~BrowserOpener() = default;
  virtual std::optional<BrowserError> open(const std::string& url) = 0;
};

// The platform's opener (browser_opener_xdg.cpp on Linux).
std::unique_ptr<BrowserOpener> makeSystemBrowserOpener();

}  // namespace pellum
