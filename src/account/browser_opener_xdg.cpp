#include <QProcess>

#include "account/browser_opener.h"

namespace pellum {
namespace {

// xdg-open hands the page to the desktop's default browser. It is started
// detached: some browsers keep xdg-open waiting until they close, and the
// browser must outlive a `pellum sign-in` that has finished.
class XdgBrowserOpener final : public BrowserOpener {
 public:
  std::optional<BrowserError> open(const std::string& url) override {
    if (QProcess::startDetached(QStringLiteral("xdg-open"), {QString::fromStdString(url)}))
      return std::nullopt;
    return BrowserError{"The default browser could not be opened (xdg-open did not start)."};
  }
};

}  // namespace

std::unique_ptr<BrowserOpener> makeSystemBrowserOpener() { return std::make_unique<XdgBrowserOpener>(); }

}  // namespace pellum
