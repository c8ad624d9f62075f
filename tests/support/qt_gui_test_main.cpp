// GoogleTest entry point for tests that need a GUI application (clipboard,
// windows): a private Xvfb is started first, so no desktop is needed.
#include <gtest/gtest.h>

#include <QApplication>

#include "support/xvfb_display.h"

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  pellum::test::XvfbDisplay display;
  if (!display.isRunning()) {
    std::fprintf(stderr, "Xvfb did not start\n");
    return 1;
  }
  qputenv("QT_QPA_PLATFORM", "xcb");
  QApplication app(argc, argv);
  return RUN_ALL_TESTS();
}
