// The dictation key on a real X server (Xvfb), driven through XTest, with a
// separate X client holding the keyboard focus.
#include "app/hotkey_manager.h"

#include <gtest/gtest.h>

#include "support/event_loop.h"
#include "support/probe_process.h"
#include "support/xtest_keyboard.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::ProbeProcess;
using test::spin;
using test::waitUntil;
using test::XTestKeyboard;

class HotkeyManagerX11Test : public ::testing::Test {
 protected:
  void SetUp() override {
    qputenv("PELLUM_HOTKEY_BACKEND", "x11");
    manager_ = HotkeyManager::create([this] { events_.push_back("press"); },
                                     [this] { events_.push_back("release"); });
    ASSERT_TRUE(manager_->start()) << manager_->unavailableReason();
    ASSERT_TRUE(keyboard_.isConnected());
  }
  void TearDown() override {
    keyboard_.release("Control_R");
    spin(50ms);
  }

  std::unique_ptr<HotkeyManager> manager_;
  XTestKeyboard keyboard_;
  std::vector<std::string> events_;
};

TEST_F(HotkeyManagerX11Test, WithoutFnTheKeyIsRightCtrl) {
  ASSERT_TRUE(manager_->key());
  EXPECT_EQ(manager_->key()->keysymName, "Control_R");
  EXPECT_EQ(manager_->key()->displayName, "Right Ctrl");
}

TEST_F(HotkeyManagerX11Test, HoldAndReleaseGiveExactlyOnePressAndOneRelease) {
  keyboard_.press("Control_R");
  ASSERT_TRUE(waitUntil([&] { return events_.size() == 1; }, 3s));
  // Held long enough for auto-repeat to start.
  spin(800ms);
  keyboard_.release("Control_R");
  ASSERT_TRUE(waitUntil([&] { return events_.size() == 2; }, 3s));
  spin(200ms);
  EXPECT_EQ(events_, (std::vector<std::string>{"press", "release"}));
}

TEST_F(HotkeyManagerX11Test, CallbacksComeAfterTheHandlerOnTheMainThread) {
  Qt::HANDLE thread = nullptr;
  manager_->setCallbacks([&] { thread = QThread::currentThreadId(); }, {});
  keyboard_.press("Control_R");
  ASSERT_TRUE(waitUntil([&] { return thread != nullptr; }, 3s));
  EXPECT_EQ(thread, QThread::currentThreadId());
}

TEST_F(HotkeyManagerX11Test, TheKeyIsConsumedAndOtherKeysReachTheFocusedWindow) {
  ProbeProcess probe;
  ASSERT_TRUE(probe.waitUntilReady());
  keyboard_.tap("a");
  keyboard_.tap("b");
  ASSERT_TRUE(probe.waitForLine(QStringLiteral("text:ab")));
  keyboard_.press("Control_R");
  keyboard_.release("Control_R");
  ASSERT_TRUE(waitUntil([&] { return events_.size() == 2; }, 3s));
  keyboard_.tap("c");
  ASSERT_TRUE(probe.waitForLine(QStringLiteral("text:abc")));
  for (const QString& line : probe.lines())
    EXPECT_FALSE(line.contains(QStringLiteral("ctrl"))) << line.toStdString();
}

TEST_F(HotkeyManagerX11Test, OtherModifiersDoNotCountAsTheKey) {
  keyboard_.press("Control_L");
  keyboard_.press("Shift_L");
  keyboard_.release("Shift_L");
  keyboard_.release("Control_L");
  spin(300ms);
  EXPECT_TRUE(events_.empty());
}

TEST_F(HotkeyManagerX11Test, ShiftWhileHeldReportsNothingMore) {
  keyboard_.press("Control_R");
  keyboard_.press("Shift_L");
  keyboard_.release("Shift_L");
  keyboard_.release("Control_R");
  ASSERT_TRUE(waitUntil([&] { return events_.size() >= 2; }, 3s));
  spin(200ms);
  EXPECT_EQ(events_, (std::vector<std::string>{"press", "release"}));
}

TEST_F(HotkeyManagerX11Test, ForcedKeyByKeysymName) {
  qputenv("PELLUM_DICTATION_KEY", "F12");
  auto forced = HotkeyManager::create([this] { events_.push_back("F12 press"); }, {});
  ASSERT_TRUE(forced->start()) << forced->unavailableReason();
  EXPECT_EQ(forced->key()->displayName, "F12");
  keyboard_.tap("F12");
  ASSERT_TRUE(waitUntil([&] { return !events_.empty(); }, 3s));
  EXPECT_EQ(events_.front(), "F12 press");
  qunsetenv("PELLUM_DICTATION_KEY");
}

TEST_F(HotkeyManagerX11Test, UnknownForcedKeyIsReported) {
  qputenv("PELLUM_DICTATION_KEY", "NoSuchKey");
  auto forced = HotkeyManager::create();
  EXPECT_FALSE(forced->start());
  EXPECT_EQ(forced->unavailableReason(), "PELLUM_DICTATION_KEY names no key: \"NoSuchKey\"");
  qunsetenv("PELLUM_DICTATION_KEY");
}

TEST(HotkeyManagerBackend, WaylandSaysTheKeyIsNotAvailable) {
  qputenv("PELLUM_HOTKEY_BACKEND", "wayland");
  auto manager = HotkeyManager::create();
  EXPECT_FALSE(manager->start());
  EXPECT_NE(manager->unavailableReason().find("not available on Wayland"), std::string::npos);
  EXPECT_EQ(manager->key(), std::nullopt);
  qunsetenv("PELLUM_HOTKEY_BACKEND");
}

}  // namespace
}  // namespace pellum
