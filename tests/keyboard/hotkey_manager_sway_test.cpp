// The dictation key on a real headless sway: bindings over its IPC socket,
// keys from a virtual keyboard on its seat, and a native Wayland Qt text
// field holding the focus as "another application".
#include "keyboard/hotkey_manager_sway.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QProcess>
#include <cstdio>
#include <memory>

#include "support/event_loop.h"
#include "support/sway_session.h"
#include "support/wayland_keyboard.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::spin;
using test::waitUntil;
using test::WaylandKeyboard;
using Events = std::vector<std::string>;

// The text-field probe as a native Wayland client of the session.
class WaylandProbe {
 public:
  explicit WaylandProbe(test::SwaySession& sway) {
    auto environment = sway.clientEnvironment();
    process_.setProcessEnvironment(environment);
    process_.start(QStringLiteral(PELLUM_TEXT_FIELD_PROBE),
                   {QStringLiteral("--class"), QStringLiteral("probe")});
  }
  ~WaylandProbe() {
    process_.kill();
    process_.waitForFinished(2000);
  }
  bool waitForLine(const QString& line, std::chrono::milliseconds timeout = 10s) {
    return waitUntil([&] { return lines().contains(line); }, timeout);
  }
  const QStringList& lines() {
    pending_ += process_.readAllStandardOutput();
    qsizetype newline;
    while ((newline = pending_.indexOf('\n')) >= 0) {
      lines_.append(QString::fromUtf8(pending_.left(newline)));
      pending_.remove(0, newline + 1);
    }
    return lines_;
  }
  QStringList keyLines() {
    QStringList keys;
    for (const QString& line : lines()) {
      if (line.startsWith(QStringLiteral("key:"))) keys.append(line);
    }
    return keys;
  }

 private:
  QProcess process_;
  QByteArray pending_;
  QStringList lines_;
};

class HotkeyManagerSwayTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(sway_->isRunning()) << sway_->failure().toStdString();
    ASSERT_TRUE(keyboard_.isReady()) << keyboard_.errors().toStdString();
  }
  void TearDown() override {
    keyboard_.up(WaylandKeyboard::kRightCtrl);
    keyboard_.up(WaylandKeyboard::kLeftShift);
  }

  void startManager(std::chrono::milliseconds cap = DictationKeyGesture::kDefaultCap) {
    manager_ = makeSwayHotkeyManager(cap);
    manager_->setCallbacks([this] { events_.push_back("press"); }, [this] { events_.push_back("release"); });
    manager_->setCancelCallback([this] { events_.push_back("cancel"); });
    ASSERT_TRUE(manager_->start()) << manager_->unavailableReason();
  }

  bool waitForEvents(std::size_t count) {
    return waitUntil([&] { return events_.size() >= count; }, 5s);
  }

  std::unique_ptr<test::SwaySession> sway_ = std::make_unique<test::SwaySession>();
  WaylandKeyboard keyboard_{sway_->clientEnvironment()};
  std::unique_ptr<HotkeyManager> manager_;
  Events events_;
};

TEST_F(HotkeyManagerSwayTest, TheAutomaticKeyIsRightCtrl) {
  startManager();
  ASSERT_TRUE(manager_->key());
  EXPECT_EQ(manager_->key()->keysymName, "Control_R");
  EXPECT_EQ(manager_->key()->displayName, "Right Ctrl");
  EXPECT_EQ(manager_->unavailableReason(), "");
}

TEST_F(HotkeyManagerSwayTest, HoldGivesOnePressAndReleaseOneRelease) {
  startManager();
  QElapsedTimer sinceDown;
  sinceDown.start();
  ASSERT_TRUE(keyboard_.down(WaylandKeyboard::kRightCtrl));
  ASSERT_TRUE(waitForEvents(1));
  std::printf("key down to press callback: %.2f ms\n", sinceDown.nsecsElapsed() / 1e6);
  // Long enough for the key to repeat, were it repeating.
  spin(800ms);
  ASSERT_TRUE(keyboard_.up(WaylandKeyboard::kRightCtrl));
  ASSERT_TRUE(waitForEvents(2));
  // A second hold, as the marker that nothing else was on its way.
  ASSERT_TRUE(keyboard_.tap(WaylandKeyboard::kRightCtrl));
  ASSERT_TRUE(waitForEvents(4));
  EXPECT_EQ(events_, (Events{"press", "release", "press", "release"}));
  EXPECT_TRUE(manager_->isHeld() == false);
}

TEST_F(HotkeyManagerSwayTest, TheKeyDoesNotReachTheFocusedApplication) {
  WaylandProbe probe(*sway_);
  ASSERT_TRUE(probe.waitForLine(QStringLiteral("ready")));
  ASSERT_TRUE(sway_->waitForFocus(QStringLiteral("text_field_probe"))) << sway_->focusedApp().toStdString();
  startManager();
  ASSERT_TRUE(keyboard_.tap(WaylandKeyboard::kRightCtrl));
  ASSERT_TRUE(keyboard_.tap(WaylandKeyboard::kA));
  ASSERT_TRUE(probe.waitForLine(QStringLiteral("key:+a")));
  EXPECT_EQ(probe.keyLines(), QStringList{QStringLiteral("key:+a")});
  ASSERT_TRUE(waitForEvents(2));
  EXPECT_EQ(events_, (Events{"press", "release"}));
}

// sway drops the release of a bound key when another key goes down during
// the hold; the user's next press of the key then ends the dictation.
TEST_F(HotkeyManagerSwayTest, AReleaseLostToAnotherKeyEndsAtTheNextPress) {
  startManager();
  ASSERT_TRUE(keyboard_.down(WaylandKeyboard::kRightCtrl));
  ASSERT_TRUE(waitForEvents(1));
  ASSERT_TRUE(keyboard_.down(WaylandKeyboard::kLeftShift));
  ASSERT_TRUE(keyboard_.up(WaylandKeyboard::kRightCtrl));
  ASSERT_TRUE(keyboard_.up(WaylandKeyboard::kLeftShift));
  spin(300ms);
  EXPECT_EQ(events_, Events{"press"});
  EXPECT_TRUE(manager_->isHeld());

  ASSERT_TRUE(keyboard_.down(WaylandKeyboard::kRightCtrl));
  ASSERT_TRUE(waitForEvents(2));
  ASSERT_TRUE(keyboard_.up(WaylandKeyboard::kRightCtrl));
  // The key works as before afterwards.
  ASSERT_TRUE(keyboard_.tap(WaylandKeyboard::kRightCtrl));
  ASSERT_TRUE(waitForEvents(4));
  EXPECT_EQ(events_, (Events{"press", "release", "press", "release"}));
}

TEST_F(HotkeyManagerSwayTest, AHoldEndsByItselfAtTheCap) {
  startManager(300ms);
  ASSERT_TRUE(keyboard_.down(WaylandKeyboard::kRightCtrl));
  ASSERT_TRUE(waitForEvents(2));
  EXPECT_EQ(events_, (Events{"press", "release"}));
  EXPECT_FALSE(manager_->isHeld());
  // The late release means nothing; the next hold is a new press.
  ASSERT_TRUE(keyboard_.up(WaylandKeyboard::kRightCtrl));
  ASSERT_TRUE(keyboard_.down(WaylandKeyboard::kRightCtrl));
  ASSERT_TRUE(waitForEvents(3));
  EXPECT_EQ(events_, (Events{"press", "release", "press"}));
}

TEST_F(HotkeyManagerSwayTest, TheKeyGoesBackToApplicationsWhenTheManagerIsGone) {
  WaylandProbe probe(*sway_);
  ASSERT_TRUE(probe.waitForLine(QStringLiteral("ready")));
  ASSERT_TRUE(sway_->waitForFocus(QStringLiteral("text_field_probe"))) << sway_->focusedApp().toStdString();
  startManager();
  manager_->setCancelKeyArmed(true);
  manager_.reset();
  ASSERT_TRUE(keyboard_.tap(WaylandKeyboard::kRightCtrl));
  ASSERT_TRUE(keyboard_.tap(WaylandKeyboard::kEscape));
  ASSERT_TRUE(keyboard_.tap(WaylandKeyboard::kA));
  ASSERT_TRUE(probe.waitForLine(QStringLiteral("key:+a")));
  const QStringList keys = probe.keyLines();
  EXPECT_EQ(keys.size(), 3) << keys.join(QLatin1Char(' ')).toStdString();
  EXPECT_TRUE(keys.contains(QStringLiteral("key:ctrl+control"))) << keys.join(QLatin1Char(' ')).toStdString();
  EXPECT_TRUE(events_.empty());
}

TEST_F(HotkeyManagerSwayTest, ChoosingAnotherKeyMovesTheBinding) {
  WaylandProbe probe(*sway_);
  ASSERT_TRUE(probe.waitForLine(QStringLiteral("ready")));
  ASSERT_TRUE(sway_->waitForFocus(QStringLiteral("text_field_probe"))) << sway_->focusedApp().toStdString();
  startManager();
  EXPECT_FALSE(manager_->chooseKey("F8"));
  ASSERT_TRUE(manager_->key());
  EXPECT_EQ(manager_->key()->keysymName, "F8");
  ASSERT_TRUE(keyboard_.tap(WaylandKeyboard::kRightCtrl));
  ASSERT_TRUE(keyboard_.tap(WaylandKeyboard::kF8));
  ASSERT_TRUE(waitForEvents(2));
  EXPECT_EQ(events_, (Events{"press", "release"}));
  ASSERT_TRUE(keyboard_.tap(WaylandKeyboard::kA));
  ASSERT_TRUE(probe.waitForLine(QStringLiteral("key:+a")));
  EXPECT_TRUE(probe.keyLines().contains(QStringLiteral("key:ctrl+control")));
  EXPECT_FALSE(probe.keyLines().contains(QStringLiteral("key:+f8")));
}

TEST_F(HotkeyManagerSwayTest, AKeyNoKeysymNamesIsRefusedAndTheOldOneStays) {
  startManager();
  const auto error = manager_->chooseKey("F8; exec foot");
  ASSERT_TRUE(error);
  EXPECT_EQ(error->kind, DictationKeyError::Kind::unknownName);
  EXPECT_EQ(manager_->key()->keysymName, "Control_R");
  ASSERT_TRUE(keyboard_.tap(WaylandKeyboard::kRightCtrl));
  ASSERT_TRUE(waitForEvents(2));
}

TEST_F(HotkeyManagerSwayTest, EscapeCancelsOnlyWhileArmed) {
  WaylandProbe probe(*sway_);
  ASSERT_TRUE(probe.waitForLine(QStringLiteral("ready")));
  ASSERT_TRUE(sway_->waitForFocus(QStringLiteral("text_field_probe"))) << sway_->focusedApp().toStdString();
  startManager();
  manager_->setCancelKeyArmed(true);
  // The binding is set asynchronously: the first Escape may come before it.
  ASSERT_TRUE(waitUntil(
      [&] {
        keyboard_.tap(WaylandKeyboard::kEscape);
        return waitUntil([&] { return !events_.empty(); }, 200ms);
      },
      5s));
  EXPECT_EQ(events_.front(), "cancel");
  const auto cancels = events_.size();
  const auto escapesBefore = probe.keyLines().count(QStringLiteral("key:+esc"));

  manager_->setCancelKeyArmed(false);
  ASSERT_TRUE(waitUntil(
      [&] {
        keyboard_.tap(WaylandKeyboard::kEscape);
        return probe.waitForLine(QStringLiteral("key:+esc"), 200ms) &&
               probe.keyLines().count(QStringLiteral("key:+esc")) > escapesBefore;
      },
      5s));
  EXPECT_EQ(events_.size(), cancels);
}

TEST_F(HotkeyManagerSwayTest, LosingSwaySaysWhy) {
  startManager();
  sway_.reset();
  ASSERT_TRUE(waitUntil([&] { return !manager_->unavailableReason().empty(); }, 5s));
  EXPECT_NE(manager_->unavailableReason().find("lost the connection to sway"), std::string::npos)
      << manager_->unavailableReason();
  EXPECT_FALSE(manager_->key());
}

TEST(HotkeyManagerSwayStartTest, WithoutSwayTheKeyIsUnavailable) {
  auto manager = makeSwayHotkeyManager(DictationKeyGesture::kDefaultCap, "/nonexistent/sway.sock");
  EXPECT_FALSE(manager->start());
  EXPECT_NE(manager->unavailableReason().find("cannot reach sway"), std::string::npos)
      << manager->unavailableReason();
}

}  // namespace
}  // namespace pellum
