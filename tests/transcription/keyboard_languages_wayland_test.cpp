// Keyboard languages in a Wayland session (a headless sway): the layouts of
// the seat's keyboard, read over sway's IPC or from the seat's keymap.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>

#include "support/sway_session.h"
#include "support/wayland_keyboard.h"
#include "transcription/keyboard_languages.h"

namespace pellum {
namespace {

class KeyboardLanguagesWaylandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(sway_.isRunning()) << sway_.failure().toStdString();
    ASSERT_TRUE(keyboard_.isReady()) << keyboard_.errors().toStdString();
    // A key makes the keyboard the seat's current one.
    ASSERT_TRUE(keyboard_.tap(test::WaylandKeyboard::kLeftShift));
  }
  void TearDown() override { qunsetenv("PELLUM_LAYOUT_BACKEND"); }

  test::SwaySession sway_;
  test::WaylandKeyboard keyboard_{sway_.clientEnvironment(), QStringLiteral("de,fr")};
};

TEST_F(KeyboardLanguagesWaylandTest, SwayNamesTheLayoutsAndTheActiveOne) {
  EXPECT_EQ(keyboardInputLanguages(), (std::vector<std::string>{"de", "fr"}));
  EXPECT_EQ(currentKeyboardLanguage(), "de");
  sway_.swaymsg({QStringLiteral("input"), QStringLiteral("type:keyboard"),
                 QStringLiteral("xkb_switch_layout"), QStringLiteral("next")});
  EXPECT_EQ(currentKeyboardLanguage(), "fr");
}

TEST_F(KeyboardLanguagesWaylandTest, ElsewhereTheSeatsKeymapGivesTheLayoutsAndTheFirstCounts) {
  qputenv("PELLUM_LAYOUT_BACKEND", "wayland");
  EXPECT_EQ(keyboardInputLanguages(), (std::vector<std::string>{"de", "fr"}));
  EXPECT_EQ(currentKeyboardLanguage(), "de");
}

TEST(KeyboardLanguagesNoSessionTest, NoWindowSystemIsEnglish) {
  qputenv("PELLUM_LAYOUT_BACKEND", "sway");
  qputenv("SWAYSOCK", "/nonexistent/sway.sock");
  EXPECT_EQ(currentKeyboardLanguage(), "en");
  EXPECT_EQ(keyboardInputLanguages(), std::vector<std::string>{"en"});
  qunsetenv("PELLUM_LAYOUT_BACKEND");
  qunsetenv("SWAYSOCK");
}

}  // namespace
}  // namespace pellum
