// The whole product on a Wayland desktop: a headless sway with XWayland, a
// PulseAudio daemon whose virtual microphone plays recorded speech, the real
// pellum-server on loopback and the pellum desktop program. A virtual
// keyboard on sway's seat holds the dictation key while the speech plays;
// the words must land in an application we did not write (foot, a GTK 3
// entry and a Qt 6 field, natively and under XWayland), the clipboard the
// user had must be back, the focus must never move, and the overlay must be
// at the top centre of the screen while recording.
#include <gtest/gtest.h>

#include <QImage>
#include <QProcess>
#include <QTemporaryDir>

#include "desktop_program.h"
#include "recorded_speech.h"
#include "server_process.h"
#include "support/event_loop.h"
#include "support/pulse_server.h"
#include "support/sway_session.h"
#include "support/wayland_keyboard.h"
#include "support/wayland_target.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::waitUntil;
using test::WaylandKeyboard;
using test::WaylandTarget;

struct Target {
  const char* name;
  WaylandTarget::Kind kind;
  bool x11;
};

void PrintTo(const Target& target, std::ostream* out) { *out << target.name; }

bool isBlack(QRgb pixel) { return qRed(pixel) == 0 && qGreen(pixel) == 0 && qBlue(pixel) == 0; }

class SwayDictationE2ETest : public ::testing::TestWithParam<Target> {
 protected:
  void SetUp() override {
    ASSERT_TRUE(pulse_.isRunning());
    ASSERT_TRUE(server_.started());
    ASSERT_TRUE(sway_.isRunning()) << sway_.failure().toStdString();
    ASSERT_FALSE(sway_.xDisplay().isEmpty()) << sway_.log().toStdString();
    ASSERT_TRUE(keyboard_.isReady()) << keyboard_.errors().toStdString();
    utterance_ = server::test::recordedSpeech().at(1);  // "he was not an ill disposed young man"
  }

  // Runs a clipboard tool of the session; its output.
  QString clipboardTool(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.setProcessEnvironment(sway_.clientEnvironment());
    process.start(program, arguments);
    waitUntil([&] { return process.state() == QProcess::NotRunning; }, 5s);
    if (process.state() != QProcess::NotRunning) process.kill();
    process.waitForFinished(1000);
    return QString::fromUtf8(process.readAllStandardOutput());
  }
  QString clipboard() { return clipboardTool(QStringLiteral("wl-paste"), {QStringLiteral("-n")}); }

  QImage screenshot() { return QImage::fromData(sway_.screenshot(), "PNG"); }

  test::PulseServer pulse_;
  server::test::ServerProcess server_;
  test::SwaySession sway_;
  WaylandKeyboard keyboard_{sway_.clientEnvironment()};
  QTemporaryDir config_;
  server::test::Utterance utterance_;
};

TEST_P(SwayDictationE2ETest, HoldSpeakReleaseAndTheWordsLand) {
  test::DesktopProgram pellum(server_, server_.addDevice("sway e2e"), config_.path(), pulse_.serverAddress());
  ASSERT_TRUE(pellum.waitForLog(QStringLiteral("HotkeyManager: hold Right Ctrl to dictate")))
      << pellum.log().toStdString();
  WaylandTarget target(sway_, GetParam().kind, GetParam().x11);
  ASSERT_TRUE(target.waitUntilFocused()) << target.describe().toStdString() << " never had the focus";
  clipboardTool(
      QStringLiteral("wl-copy"),
      {QStringLiteral("--type"), QStringLiteral("text/plain;charset=utf-8"), QStringLiteral("kept before")});
  ASSERT_EQ(clipboard(), QStringLiteral("kept before"));
  const QString focused = sway_.focusedApp();

  ASSERT_TRUE(keyboard_.down(WaylandKeyboard::kRightCtrl));
  ASSERT_TRUE(waitUntil([&] { return pulse_.recordStreams() > 0; }, 10s)) << pellum.log().toStdString();
  ASSERT_TRUE(pulse_.play(QString::fromStdString(utterance_.wavPath)));
  // Recording: the overlay's black band is at the top centre, nowhere else.
  const QImage shot = screenshot();
  ASSERT_FALSE(shot.isNull());
  EXPECT_TRUE(isBlack(shot.pixel(shot.width() / 2 + 40, 12))) << "no overlay at the top centre";
  EXPECT_FALSE(isBlack(shot.pixel(shot.width() / 2 + 40, shot.height() / 2)));
  EXPECT_EQ(sway_.focusedApp(), focused);
  ASSERT_TRUE(keyboard_.up(WaylandKeyboard::kRightCtrl));

  nlohmann::json kept;
  ASSERT_TRUE(waitUntil(
      [&] {
        kept = pellum.newestDictation();
        return kept.is_object();
      },
      20s))
      << pellum.log().toStdString();
  ASSERT_EQ(kept["outcome"], "inserted") << kept.dump();
  const std::string dictated = kept["text"].get<std::string>();
  EXPECT_GE(server::test::wordRecall(dictated, utterance_.reference), 0.6) << dictated;

  // The user's clipboard is back once the paste is over; the focus stayed.
  EXPECT_TRUE(waitUntil([&] { return clipboard() == QStringLiteral("kept before"); }, 5s))
      << clipboard().toStdString();
  EXPECT_EQ(sway_.focusedApp(), focused);
  EXPECT_EQ(target.finish(keyboard_).toStdString(), dictated) << target.describe().toStdString();
}

INSTANTIATE_TEST_SUITE_P(Targets, SwayDictationE2ETest,
                         ::testing::Values(Target{"Foot", WaylandTarget::Kind::foot, false},
                                           Target{"GtkOnWayland", WaylandTarget::Kind::gtk, false},
                                           Target{"GtkOnXWayland", WaylandTarget::Kind::gtk, true},
                                           Target{"QtOnWayland", WaylandTarget::Kind::qt, false},
                                           Target{"QtOnXWayland", WaylandTarget::Kind::qt, true}),
                         [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace pellum
