// The dictation key on a real X server (Xvfb), driven through XTest, with a
// separate X client holding the keyboard focus.
#include "keyboard/hotkey_manager.h"

#include <gtest/gtest.h>

#include <QProcess>
#include <algorithm>

#include <xcb/xcb.h>

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

// Another X client that grabs a key on the root window, as a desktop's own
// shortcut daemon would.
class OtherGrabber {
 public:
  explicit OtherGrabber(const std::string& keysymName) : connection_(xcb_connect(nullptr, nullptr)) {
    test::XTestKeyboard keys;
    const int code = keys.keycodeOf(keysymName);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
    grabbed_ = code > 0 && !xcb_request_check(connection_,
                                              xcb_grab_key_checked(connection_, 0, root, XCB_MOD_MASK_ANY,
                                                                   static_cast<xcb_keycode_t>(code),
                                                                   XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
  }
  ~OtherGrabber() { xcb_disconnect(connection_); }
  bool grabbed() const { return grabbed_; }

 private:
  xcb_connection_t* connection_;
  bool grabbed_ = false;
};

// Another X client holding the whole keyboard (an open menu, a game).
class KeyboardHolder {
 public:
  KeyboardHolder() : connection_(xcb_connect(nullptr, nullptr)) {
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
    std::unique_ptr<xcb_grab_keyboard_reply_t, decltype(&free)> reply(
        xcb_grab_keyboard_reply(connection_,
                                xcb_grab_keyboard(connection_, 0, root, XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC,
                                                  XCB_GRAB_MODE_ASYNC),
                                nullptr),
        &free);
    holds_ = reply && reply->status == XCB_GRAB_STATUS_SUCCESS;
  }
  ~KeyboardHolder() { xcb_disconnect(connection_); }
  bool holds() const { return holds_; }
  void letGo() {
    xcb_ungrab_keyboard(connection_, XCB_CURRENT_TIME);
    xcb_flush(connection_);
  }

 private:
  xcb_connection_t* connection_;
  bool holds_ = false;
};

TEST_F(HotkeyManagerX11Test, TheKeyboardsGoodDictationKeysAreOffered) {
  std::vector<std::string> names;
  for (const auto& key : manager_->availableKeys()) names.push_back(key.keysymName);
  EXPECT_NE(std::find(names.begin(), names.end(), "Control_R"), names.end());
  EXPECT_NE(std::find(names.begin(), names.end(), "Menu"), names.end());
  EXPECT_NE(std::find(names.begin(), names.end(), "Pause"), names.end());
  EXPECT_EQ(std::find(names.begin(), names.end(), "ISO_Level3_Shift"), names.end());
}

TEST_F(HotkeyManagerX11Test, ChoosingAnotherKeyGrabsItAndGivesTheOldOneBack) {
  ProbeProcess probe;
  ASSERT_TRUE(probe.waitUntilReady());
  EXPECT_EQ(manager_->chooseKey("Menu"), std::nullopt);
  EXPECT_EQ(manager_->key()->displayName, "Menu");
  keyboard_.tap("Menu");
  ASSERT_TRUE(waitUntil([&] { return events_.size() == 2; }, 3s));
  EXPECT_EQ(events_, (std::vector<std::string>{"press", "release"}));
  // Right Ctrl is an ordinary key again: the focused window gets it.
  keyboard_.tap("Control_R");
  keyboard_.tap("x");
  ASSERT_TRUE(probe.waitForLine(QStringLiteral("text:x")));
  EXPECT_TRUE(probe.lines().contains(QStringLiteral("key:ctrl+control")))
      << probe.lines().join(',').toStdString();
  EXPECT_EQ(events_.size(), 2u);
  EXPECT_EQ(manager_->chooseKey(""), std::nullopt);
  EXPECT_EQ(manager_->key()->keysymName, "Control_R");
}

TEST_F(HotkeyManagerX11Test, AKeyAnotherProgramHoldsIsRefusedAndTheOldKeyStays) {
  OtherGrabber other("Pause");
  ASSERT_TRUE(other.grabbed());
  const auto error = manager_->chooseKey("Pause");
  ASSERT_TRUE(error);
  EXPECT_EQ(error->description(), "Another program already uses Pause");
  EXPECT_EQ(manager_->key()->keysymName, "Control_R");
  keyboard_.press("Control_R");
  keyboard_.release("Control_R");
  ASSERT_TRUE(waitUntil([&] { return events_.size() == 2; }, 3s));
}

TEST_F(HotkeyManagerX11Test, AStoredKeyTakenByAnotherProgramFallsBackToTheAutomaticKeyAtStart) {
  manager_.reset();  // Right Ctrl must be free for the new watcher
  OtherGrabber other("Menu");
  ASSERT_TRUE(other.grabbed());
  auto manager =
      HotkeyManager::create([this] { events_.push_back("press"); }, [this] { events_.push_back("release"); });
  manager->chooseKey("Menu");
  ASSERT_TRUE(manager->start()) << manager->unavailableReason();
  EXPECT_EQ(manager->key()->keysymName, "Control_R");
}

// Runs setxkbmap on the test's X server, as a desktop's keyboard settings do.
bool setKeyboardOptions(const QString& options) {
  QProcess setxkbmap;
  setxkbmap.start(QStringLiteral("setxkbmap"),
                  {QStringLiteral("-option"), QStringLiteral(""), QStringLiteral("-option"), options});
  return setxkbmap.waitForFinished(10000) && setxkbmap.exitCode() == 0;
}

TEST_F(HotkeyManagerX11Test, AHoldSurvivesAKeymapThatMovesTheKeyAndTheKeyIsFollowed) {
  const int before = keyboard_.keycodeOf("Control_R");
  ASSERT_GT(before, 0);
  ASSERT_TRUE(keyboard_.pressKeycode(before));
  ASSERT_TRUE(waitUntil([&] { return events_.size() == 1; }, 3s));
  // Right Ctrl and the right Super key change places while the key is held.
  ASSERT_TRUE(setKeyboardOptions(QStringLiteral("ctrl:swap_rwin_rctl")));
  const int after = keyboard_.keycodeOf("Control_R");
  ASSERT_NE(after, before);
  spin(300ms);
  // The release of the key that went down still ends the hold.
  ASSERT_TRUE(keyboard_.releaseKeycode(before));
  ASSERT_TRUE(waitUntil([&] { return events_.size() == 2; }, 3s)) << testing::PrintToString(events_);
  // And Right Ctrl, on its new keycode, is the dictation key.
  keyboard_.press("Control_R");
  keyboard_.release("Control_R");
  ASSERT_TRUE(waitUntil([&] { return events_.size() == 4; }, 3s)) << testing::PrintToString(events_);
  EXPECT_EQ(events_, (std::vector<std::string>{"press", "release", "press", "release"}));
  ASSERT_TRUE(setKeyboardOptions(QString()));
  spin(300ms);
}

TEST_F(HotkeyManagerX11Test, KeymapNotificationsInABurstNeverDropAPress) {
  // Layout switches send keymap notifications; the key, on the same keycode,
  // keeps its grab throughout and every press and release arrives.
  for (int round = 0; round < 5; ++round) {
    QProcess setxkbmap;
    setxkbmap.start(QStringLiteral("setxkbmap"),
                    {QStringLiteral("-layout"), round % 2 ? QStringLiteral("us") : QStringLiteral("de")});
    keyboard_.press("Control_R");
    keyboard_.release("Control_R");
    ASSERT_TRUE(setxkbmap.waitForFinished(10000));
  }
  ASSERT_TRUE(waitUntil([&] { return events_.size() == 10; }, 5s)) << testing::PrintToString(events_);
  QProcess::execute(QStringLiteral("setxkbmap"), {QStringLiteral("-layout"), QStringLiteral("us")});
}

TEST_F(HotkeyManagerX11Test, AKeyTheKeyboardLacksIsRefused) {
  const auto error = manager_->chooseKey("XF86Fn");
  ASSERT_TRUE(error);
  EXPECT_EQ(error->kind, DictationKeyError::Kind::notOnKeyboard);
  EXPECT_EQ(manager_->key()->keysymName, "Control_R");
}

TEST_F(HotkeyManagerX11Test, OtherCapturesTheNextKeyPressedWithoutStartingADictation) {
  std::optional<std::optional<std::string>> chosen;
  manager_->captureNextKey([&](std::optional<std::string> name) { chosen = name; });
  spin(100ms);
  keyboard_.tap("Scroll_Lock");
  ASSERT_TRUE(waitUntil([&] { return chosen.has_value(); }, 3s));
  EXPECT_EQ(*chosen, "Scroll_Lock");
  EXPECT_TRUE(events_.empty());

  chosen.reset();
  manager_->captureNextKey([&](std::optional<std::string> name) { chosen = name; });
  spin(100ms);
  keyboard_.tap("Escape");
  ASSERT_TRUE(waitUntil([&] { return chosen.has_value(); }, 3s));
  EXPECT_EQ(*chosen, std::nullopt);
  // The keyboard is free again and the key still works.
  keyboard_.press("Control_R");
  keyboard_.release("Control_R");
  ASSERT_TRUE(waitUntil([&] { return events_.size() == 2; }, 3s));
}

TEST_F(HotkeyManagerX11Test, OtherWaitsForAMenuThatStillHoldsTheKeyboard) {
  // A client holding the whole keyboard, as a closing menu does for a moment.
  KeyboardHolder menu;
  ASSERT_TRUE(menu.holds());
  std::optional<std::optional<std::string>> chosen;
  manager_->captureNextKey([&](std::optional<std::string> name) { chosen = name; });
  spin(200ms);
  EXPECT_FALSE(chosen.has_value());
  menu.letGo();
  spin(200ms);
  keyboard_.tap("Pause");
  ASSERT_TRUE(waitUntil([&] { return chosen.has_value(); }, 3s));
  EXPECT_EQ(*chosen, "Pause");
}

TEST_F(HotkeyManagerX11Test, OtherGivesUpWhenAnotherProgramKeepsTheKeyboard) {
  KeyboardHolder other;
  ASSERT_TRUE(other.holds());
  std::optional<std::optional<std::string>> chosen;
  manager_->captureNextKey([&](std::optional<std::string> name) { chosen = name; });
  ASSERT_TRUE(waitUntil([&] { return chosen.has_value(); }, 5s));
  EXPECT_EQ(*chosen, std::nullopt);
}

TEST_F(HotkeyManagerX11Test, EscapeIsTakenOnlyWhileArmed) {
  ProbeProcess probe;
  ASSERT_TRUE(probe.waitUntilReady());
  int cancels = 0;
  manager_->setCancelCallback([&] { ++cancels; });
  manager_->setCancelKeyArmed(true);
  spin(50ms);
  keyboard_.tap("Escape");
  ASSERT_TRUE(waitUntil([&] { return cancels == 1; }, 3s));
  manager_->setCancelKeyArmed(false);
  spin(50ms);
  keyboard_.tap("Escape");
  keyboard_.tap("z");
  ASSERT_TRUE(probe.waitForLine(QStringLiteral("text:z")));
  EXPECT_EQ(cancels, 1);
  EXPECT_EQ(probe.lines().count(QStringLiteral("key:+esc")), 1) << probe.lines().join(',').toStdString();
}

TEST_F(HotkeyManagerX11Test, EscapeWhileTheKeyIsHeldCancels) {
  int cancels = 0;
  manager_->setCancelCallback([&] { ++cancels; });
  keyboard_.press("Control_R");
  ASSERT_TRUE(waitUntil([&] { return events_.size() == 1; }, 3s));
  keyboard_.tap("Escape");
  ASSERT_TRUE(waitUntil([&] { return cancels == 1; }, 3s));
  keyboard_.release("Control_R");
  ASSERT_TRUE(waitUntil([&] { return events_.size() == 2; }, 3s));
}

TEST_F(HotkeyManagerX11Test, AKeySoonAfterThePressIsAShortcutForTheApplication) {
  ProbeProcess probe;
  ASSERT_TRUE(probe.waitUntilReady());
  int cancels = 0;
  manager_->setCancelCallback([&] { ++cancels; });
  keyboard_.press("Control_R");
  keyboard_.tap("a");  // Right Ctrl+A: select all, as without Pellum
  ASSERT_TRUE(probe.waitForLine(QStringLiteral("key:ctrl+a"))) << probe.lines().join(',').toStdString();
  EXPECT_EQ(cancels, 1);
  keyboard_.release("Control_R");
  spin(100ms);
  // The key's next press is a dictation again.
  events_.clear();
  keyboard_.press("Control_R");
  keyboard_.release("Control_R");
  ASSERT_TRUE(waitUntil([&] { return events_.size() == 2; }, 3s)) << testing::PrintToString(events_);
  EXPECT_EQ(events_, (std::vector<std::string>{"press", "release"}));
}

TEST_F(HotkeyManagerX11Test, KeysLateInADictationAreHeldBack) {
  ProbeProcess probe;
  ASSERT_TRUE(probe.waitUntilReady());
  int cancels = 0;
  manager_->setCancelCallback([&] { ++cancels; });
  keyboard_.press("Control_R");
  ASSERT_TRUE(waitUntil([&] { return events_.size() == 1; }, 3s));
  spin(700ms);
  keyboard_.tap("a");
  keyboard_.release("Control_R");
  ASSERT_TRUE(waitUntil([&] { return events_.size() == 2; }, 3s));
  keyboard_.tap("b");
  ASSERT_TRUE(probe.waitForLine(QStringLiteral("text:b")));
  EXPECT_EQ(cancels, 0);
  EXPECT_FALSE(probe.lines().contains(QStringLiteral("key:ctrl+a")));
}

TEST(HotkeyManagerBackend, AnUnknownBackendSaysTheKeyIsNotAvailable) {
  qputenv("PELLUM_HOTKEY_BACKEND", "wayland");
  auto manager = HotkeyManager::create();
  EXPECT_FALSE(manager->start());
  EXPECT_NE(manager->unavailableReason().find("no dictation key backend is named \"wayland\""),
            std::string::npos)
      << manager->unavailableReason();
  EXPECT_EQ(manager->key(), std::nullopt);
  qunsetenv("PELLUM_HOTKEY_BACKEND");
}

TEST(HotkeyManagerBackend, TheCommandBackendWatchesNoKeyAndNeedsNone) {
  qputenv("PELLUM_HOTKEY_BACKEND", "command");
  auto manager = HotkeyManager::create();
  EXPECT_TRUE(manager->start());
  EXPECT_EQ(manager->unavailableReason(), "");
  ASSERT_TRUE(manager->key());
  EXPECT_NE(manager->key()->displayName.find("pellum dictate"), std::string::npos);
  qunsetenv("PELLUM_HOTKEY_BACKEND");
}

}  // namespace
}  // namespace pellum
