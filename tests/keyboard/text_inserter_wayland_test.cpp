// Pasting into real Wayland applications on a headless sway: the exact text
// lands, the clipboard the user had is back afterwards, the focus stays.
#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <functional>

#include "keyboard/text_inserter.h"
#include "support/event_loop.h"
#include "support/sway_session.h"
#include "support/wayland_keyboard.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::SwaySession;
using test::waitUntil;
using test::WaylandKeyboard;

const std::string kText = "Grüße, ½ — ok ";

class TextInserterWayland : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(sway_.isRunning()) << sway_.failure().toStdString();
    qputenv("PELLUM_PASTE_BACKEND", "wayland");
    inserter_ = TextInserter::create();
    ASSERT_TRUE(inserter_->unavailableReason().empty()) << inserter_->unavailableReason();
  }

  // Runs a client while our event loop keeps going: the clipboard it asks
  // for may be ours to hand over.
  QString runClient(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.setProcessEnvironment(sway_.clientEnvironment());
    process.start(program, arguments);
    waitUntil([&] { return process.state() == QProcess::NotRunning; }, 5s);
    if (process.state() != QProcess::NotRunning) {
      process.kill();
      process.waitForFinished();
    }
    return QString::fromUtf8(process.readAllStandardOutput());
  }
  void copy(const QString& text) {
    runClient(QStringLiteral("wl-copy"),
              {QStringLiteral("--type"), QStringLiteral("text/plain;charset=utf-8"), text});
  }
  QString clipboard() { return runClient(QStringLiteral("wl-paste"), {QStringLiteral("-n")}); }

  // A foot terminal that writes the line typed into it to `file`.
  void startFoot(QProcess& foot, const QString& file) {
    foot.setProcessEnvironment(sway_.clientEnvironment());
    foot.start(QStringLiteral("foot"),
               {QStringLiteral("sh"), QStringLiteral("-c"),
                QStringLiteral("IFS= read -r line; printf '%s' \"$line\" > '%1'").arg(file)});
    ASSERT_TRUE(sway_.waitForFocus(QStringLiteral("foot")));
  }

  SwaySession sway_;
  std::unique_ptr<TextInserter> inserter_;
};

TEST_F(TextInserterWayland, PastesIntoFootAndRestoresTheClipboard) {
  QTemporaryDir dir;
  const QString file = dir.filePath(QStringLiteral("line"));
  QProcess foot;
  startFoot(foot, file);
  copy(QStringLiteral("old text"));
  ASSERT_TRUE(waitUntil([&] { return clipboard() == QStringLiteral("old text"); }, 3s));
  WaylandKeyboard keyboard(sway_.clientEnvironment());
  ASSERT_TRUE(keyboard.isReady()) << keyboard.errors().toStdString();

  inserter_->insert(kText);
  EXPECT_TRUE(waitUntil([&] { return clipboard() == QStringLiteral("old text"); }, 3s))
      << clipboard().toStdString();
  EXPECT_EQ(sway_.focusedApp(), QStringLiteral("foot"));
  keyboard.tap(WaylandKeyboard::kEnter);
  ASSERT_TRUE(waitUntil([&] { return QFile::exists(file) && foot.state() == QProcess::NotRunning; }, 5s));
  QFile result(file);
  ASSERT_TRUE(result.open(QIODevice::ReadOnly));
  EXPECT_EQ(result.readAll().toStdString(), kText);
}

TEST_F(TextInserterWayland, EmptyClipboardIsEmptyAfterwards) {
  QTemporaryDir dir;
  QProcess foot;
  startFoot(foot, dir.filePath(QStringLiteral("line")));
  runClient(QStringLiteral("wl-copy"), {QStringLiteral("--clear")});
  inserter_->insert("one");
  test::spin(1000ms);
  EXPECT_TRUE(clipboard().isEmpty()) << clipboard().toStdString();
  foot.kill();
  foot.waitForFinished();
}

TEST_F(TextInserterWayland, TwoQuickPastesBothLandAndTheOldTextComesBack) {
  QTemporaryDir dir;
  const QString file = dir.filePath(QStringLiteral("line"));
  QProcess foot;
  startFoot(foot, file);
  copy(QStringLiteral("before"));
  ASSERT_TRUE(waitUntil([&] { return clipboard() == QStringLiteral("before"); }, 3s));
  WaylandKeyboard keyboard(sway_.clientEnvironment());
  inserter_->insert("first ");
  inserter_->insert("second");
  test::spin(2500ms);
  keyboard.tap(WaylandKeyboard::kEnter);
  ASSERT_TRUE(waitUntil([&] { return foot.state() == QProcess::NotRunning; }, 5s));
  QFile result(file);
  ASSERT_TRUE(result.open(QIODevice::ReadOnly));
  EXPECT_EQ(result.readAll(), QByteArray("first second"));
  // Each paste puts back what it saw, as on X11: the second saw the first's
  // text while it was lent; the first's restore ran before it.
  EXPECT_EQ(clipboard(), QStringLiteral("first "));
}

// The Qt6 text-field probe on `platform` ("wayland" or "xcb"): pastes there,
// reads its report, checks the clipboard and the focus.
void pasteIntoProbe(SwaySession& sway, TextInserter& inserter, const QString& platform,
                    const std::function<QString()>& clipboard, const std::function<void(QString)>& copy) {
  QProcess probe;
  auto environment = sway.clientEnvironment(platform == QStringLiteral("xcb"));
  environment.insert(QStringLiteral("QT_QPA_PLATFORM"), platform);
  probe.setProcessEnvironment(environment);
  probe.start(QStringLiteral(PELLUM_TEXT_FIELD_PROBE), {QStringLiteral("--class"), QStringLiteral("probe")});
  QByteArray output;
  auto has = [&](const QByteArray& line) {
    output += probe.readAllStandardOutput();
    return output.contains("\n" + line + "\n") || output.startsWith(line + "\n");
  };
  ASSERT_TRUE(waitUntil([&] { return has("ready"); }, 10s)) << output.toStdString();
  const QString focused = sway.focusedApp();
  copy(QStringLiteral("kept"));
  ASSERT_TRUE(waitUntil([&] { return clipboard() == QStringLiteral("kept"); }, 3s));
  inserter.insert(kText);
  EXPECT_TRUE(waitUntil([&] { return has(QByteArray("text:") + QByteArray::fromStdString(kText)); }, 5s))
      << output.toStdString();
  EXPECT_TRUE(waitUntil([&] { return clipboard() == QStringLiteral("kept"); }, 3s))
      << clipboard().toStdString();
  EXPECT_EQ(sway.focusedApp(), focused);
  probe.kill();
  probe.waitForFinished();
}

TEST_F(TextInserterWayland, PastesIntoQtOnWayland) {
  pasteIntoProbe(
      sway_, *inserter_, QStringLiteral("wayland"), [this] { return clipboard(); },
      [this](const QString& text) { copy(text); });
}

TEST_F(TextInserterWayland, PastesIntoQtOnXWayland) {
  ASSERT_FALSE(sway_.xDisplay().isEmpty());
  pasteIntoProbe(
      sway_, *inserter_, QStringLiteral("xcb"), [this] { return clipboard(); },
      [this](const QString& text) { copy(text); });
}

// A GTK 3 entry (zenity) on `x11` (XWayland) or native Wayland: the paste
// lands, Return confirms, and zenity prints exactly the entry's text.
void pasteIntoGtkEntry(SwaySession& sway, TextInserter& inserter, bool x11,
                       const std::function<QString()>& clipboard, const std::function<void(QString)>& copy) {
  QProcess zenity;
  zenity.setProcessEnvironment(sway.clientEnvironment(x11));
  zenity.start(QStringLiteral("zenity"), {QStringLiteral("--entry"), QStringLiteral("--title=gtk-target")});
  ASSERT_TRUE(sway.waitForFocus(QStringLiteral("zenity"))) << sway.focusedApp().toStdString();
  WaylandKeyboard keyboard(sway.clientEnvironment());
  ASSERT_TRUE(keyboard.isReady()) << keyboard.errors().toStdString();
  copy(QStringLiteral("kept"));
  ASSERT_TRUE(waitUntil([&] { return clipboard() == QStringLiteral("kept"); }, 3s));
  const QString focused = sway.focusedApp();
  inserter.insert(kText);
  EXPECT_TRUE(waitUntil([&] { return clipboard() == QStringLiteral("kept"); }, 3s))
      << clipboard().toStdString();
  EXPECT_EQ(sway.focusedApp(), focused);
  ASSERT_TRUE(keyboard.tap(WaylandKeyboard::kEnter));
  ASSERT_TRUE(waitUntil([&] { return zenity.state() == QProcess::NotRunning; }, 5s));
  QByteArray printed = zenity.readAllStandardOutput();
  if (printed.endsWith('\n')) printed.chop(1);
  EXPECT_EQ(printed.toStdString(), kText);
}

TEST_F(TextInserterWayland, PastesIntoGtkOnWayland) {
  pasteIntoGtkEntry(
      sway_, *inserter_, false, [this] { return clipboard(); }, [this](const QString& text) { copy(text); });
}

TEST_F(TextInserterWayland, PastesIntoGtkOnXWayland) {
  ASSERT_FALSE(sway_.xDisplay().isEmpty());
  pasteIntoGtkEntry(
      sway_, *inserter_, true, [this] { return clipboard(); }, [this](const QString& text) { copy(text); });
}

}  // namespace
}  // namespace pellum
