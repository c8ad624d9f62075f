#include "account/message_box_alert_presenter.h"

#include <QMessageBox>

namespace pellum {

void MessageBoxAlertPresenter::showAlert(const std::string& message) {
  QMessageBox box;
  box.setWindowTitle(QStringLiteral("Pellum"));
  box.setText(QStringLiteral("Pellum"));
  box.setInformativeText(QString::fromStdString(message));
  box.exec();
}

}  // namespace pellum
