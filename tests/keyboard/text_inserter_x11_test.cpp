// Pasting into a separate X client (the text-field probe) on a real X
// server, with the clipboard checked before and after.
#include "keyboard/text_inserter.h"

#include <gtest/gtest.h>

#include <QClipboard>
#include <QGuiApplication>
#include <QImage>
#include <QMimeData>
#include <QProcess>
#include <QTemporaryDir>

#include <xcb/xcb.h>

#include "support/event_loop.h"
#include "support/probe_process.h"
#include "support/x_windows.h"
#include "support/xtest_keyboard.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::ProbeProcess;
using test::spin;
using test::waitUntil;

QClipboard* clipboard() { return QGuiApplication::clipboard(); }

TEST(TextInserterX11, PastesIntoTheFocusedFieldAndRestoresTheOldText) {
  ProbeProcess probe;
  ASSERT_TRUE(probe.waitUntilReady());
  clipboard()->setText(QStringLiteral("abc"));
  auto inserter = TextInserter::create();
  inserter->insert("hello, world");
  ASSERT_TRUE(probe.waitForLine(QStringLiteral("text:hello, world")));
  EXPECT_EQ(clipboard()->text(), QStringLiteral("hello, world"));
  EXPECT_EQ(clipboard()->mimeData()->data(QStringLiteral("x-kde-passwordManagerHint")), QByteArray("secret"));
  ASSERT_TRUE(waitUntil([] { return clipboard()->text() == QStringLiteral("abc"); }, 2s));
}

TEST(TextInserterX11, TextIsPastedExactlyAsGiven) {
  ProbeProcess probe;
  ASSERT_TRUE(probe.waitUntilReady());
  auto inserter = TextInserter::create();
  inserter->insert("  Grüße, naïve café!  ");
  ASSERT_TRUE(probe.waitForLine(QStringLiteral("text:  Grüße, naïve café!  ")));
}

TEST(TextInserterX11, EmptyOrImageClipboardIsEmptyAfterTheRestore) {
  auto inserter = TextInserter::create();
  clipboard()->clear();
  inserter->insert("one");
  spin(700ms);
  EXPECT_TRUE(clipboard()->text().isEmpty());
  QImage image(4, 4, QImage::Format_RGB32);
  image.fill(Qt::red);
  clipboard()->setImage(image);
  inserter->insert("two");
  spin(700ms);
  EXPECT_FALSE(clipboard()->mimeData()->hasText());
}

TEST(TextInserterX11, HeldModifiersAreReleasedSoThePasteIsPlainCtrlV) {
  ProbeProcess probe;
  ASSERT_TRUE(probe.waitUntilReady());
  test::XTestKeyboard keyboard;
  keyboard.press("Shift_R");
  keyboard.press("Alt_L");
  auto inserter = TextInserter::create();
  inserter->insert("plain");
  ASSERT_TRUE(probe.waitForLine(QStringLiteral("text:plain")));
  EXPECT_TRUE(probe.lines().contains(QStringLiteral("key:ctrl+v")));
  EXPECT_FALSE(keyboard.isDown("Shift_R"));
  EXPECT_FALSE(keyboard.isDown("Alt_L"));
}

TEST(TextInserterX11, TerminalsGetCtrlShiftV) {
  ProbeProcess terminal(QStringLiteral("gnome-terminal"));
  ASSERT_TRUE(terminal.waitUntilReady());
  auto inserter = TextInserter::create();
  inserter->insert("ls");
  ASSERT_TRUE(terminal.waitForLine(QStringLiteral("key:ctrl,shift+v")));
  EXPECT_FALSE(terminal.lines().contains(QStringLiteral("key:ctrl+v")));
}

TEST(TextInserterX11, TheWordsLandInARealXterm) {
  // xterm as Debian ships it binds nothing to Ctrl+Shift+V; a shell in it
  // reads one line into a file.
  QTemporaryDir dir;
  const QString out = dir.filePath(QStringLiteral("line"));
  QProcess xterm;
  xterm.start(QStringLiteral("xterm"), {QStringLiteral("-e"), QStringLiteral("sh"), QStringLiteral("-c"),
                                        QStringLiteral("IFS= read -r line; printf '%s' \"$line\" > ") + out});
  xcb_connection_t* display = xcb_connect(nullptr, nullptr);
  std::vector<std::uint32_t> windows;
  ASSERT_TRUE(waitUntil([&] { return !(windows = test::viewableWindowsOf(display, "xterm")).empty(); }, 10s));
  xcb_set_input_focus(display, XCB_INPUT_FOCUS_POINTER_ROOT, windows.front(), XCB_CURRENT_TIME);
  xcb_flush(display);
  spin(300ms);
  clipboard()->setText(QStringLiteral("what was copied"), QClipboard::Selection);
  auto inserter = TextInserter::create();
  inserter->insert("dictated into xterm");
  spin(200ms);
  test::XTestKeyboard keyboard;
  keyboard.tap("Return");
  ASSERT_TRUE(xterm.waitForFinished(5000));
  QFile line(out);
  ASSERT_TRUE(line.open(QIODevice::ReadOnly));
  EXPECT_EQ(line.readAll(), QByteArray("dictated into xterm"));
  // The selection that was lent comes back.
  ASSERT_TRUE(waitUntil(
      [&] { return clipboard()->text(QClipboard::Selection) == QStringLiteral("what was copied"); }, 2s));
  xcb_disconnect(display);
}

}  // namespace
}  // namespace pellum
