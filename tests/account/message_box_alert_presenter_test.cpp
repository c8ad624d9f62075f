// The alert as the desktop program shows it: a real QMessageBox on Qt's
// offscreen platform, read back while it runs modally, then dismissed.
#include "account/message_box_alert_presenter.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QMessageBox>
#include <QTimer>

namespace pellum {
namespace {

struct Shown {
  QString windowTitle, text, informativeText;
  int buttons = 0;
  bool modal = false;
};

TEST(MessageBoxAlertPresenter, ModalBoxTitledPellumWithTheMessageAndOneButton) {
  Shown shown;
  bool seen = false;
  // Runs inside the box's own modal loop.
  QTimer::singleShot(0, [&] {
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (!box) return;
    seen = true;
    shown = {box->windowTitle(), box->text(), box->informativeText(), static_cast<int>(box->buttons().size()),
             box->isModal()};
    box->accept();
  });
  MessageBoxAlertPresenter().showAlert("State mismatch. Aborted pairing.");
  ASSERT_TRUE(seen);
  EXPECT_EQ(shown.windowTitle, QStringLiteral("Pellum"));
  EXPECT_EQ(shown.text, QStringLiteral("Pellum"));
  EXPECT_EQ(shown.informativeText, QStringLiteral("State mismatch. Aborted pairing."));
  EXPECT_EQ(shown.buttons, 1);
  EXPECT_TRUE(shown.modal);
}

}  // namespace
}  // namespace pellum

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  return RUN_ALL_TESTS();
}
