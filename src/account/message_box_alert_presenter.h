#pragma once

#include "account/alert_presenter.h"

namespace pellum {

// A modal QMessageBox titled "Pellum", whose text is "Pellum" and whose
// informative text is the message, with the single default button; it runs
// until dismissed. Needs a QApplication.
//
// Thread contract: main thread only, as every widget.
class MessageBoxAlertPresenter final : public AlertPresenter {
 public:
  void showAlert(const std::string& message) override;
};

}  // namespace pellum
