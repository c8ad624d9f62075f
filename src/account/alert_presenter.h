#pragma once

#include <string>

namespace pellum {

// Where account failures are shown. The desktop program shows a modal
// message box titled "Pellum"; the command line prints the text; tests
// record it.
//
// Thread contract: `showAlert` is called on the main thread only.
class AlertPresenter {
 public:
  virtual ~AlertPresenter() = default;
  virtual void showAlert(const std::string& message) = 0;
};

}  // namespace pellum
