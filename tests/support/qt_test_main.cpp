// GoogleTest entry point for tests that need a Qt application object: the
// event loop they spin runs on this (the main) thread.
#include <gtest/gtest.h>

#include <QCoreApplication>

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  QCoreApplication app(argc, argv);
  return RUN_ALL_TESTS();
}
