// Keyboard languages read from a real X server (Xvfb) whose layouts the
// test sets with setxkbmap, as a desktop's keyboard settings would.
#include "transcription/keyboard_languages.h"

#include <gtest/gtest.h>

#include <xcb/xcb.h>
// xkb.h names a field "explicit"; rename it while the header is read.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

#include <cstdlib>
#include <string>

#include "support/xvfb_display.h"

namespace pellum {
namespace {

using test::XvfbDisplay;

class KeyboardLanguagesXkbTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { display_ = new XvfbDisplay(); }
  static void TearDownTestSuite() {
    delete display_;
    display_ = nullptr;
  }
  void SetUp() override { ASSERT_TRUE(display_->isRunning()) << "Xvfb did not start"; }

  static void setLayouts(const QString& layouts, const QString& variants = {}) {
    QStringList arguments{QStringLiteral("-layout"), layouts};
    if (!variants.isEmpty()) arguments << QStringLiteral("-variant") << variants;
    ASSERT_EQ(display_->run(QStringLiteral("setxkbmap"), arguments), 0);
  }

  // Locks the keyboard to layout group `group`, as a layout switcher does.
  static void lockGroup(int group) {
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    ASSERT_FALSE(xcb_connection_has_error(connection));
    free(xcb_xkb_use_extension_reply(connection, xcb_xkb_use_extension(connection, 1, 0), nullptr));
    xcb_void_cookie_t cookie = xcb_xkb_latch_lock_state_checked(
        connection, XCB_XKB_ID_USE_CORE_KBD, 0, 0, /*lockGroup=*/1, static_cast<uint8_t>(group), 0, 0, 0);
    EXPECT_EQ(xcb_request_check(connection, cookie), nullptr);
    xcb_disconnect(connection);
  }

  static XvfbDisplay* display_;
};

XvfbDisplay* KeyboardLanguagesXkbTest::display_ = nullptr;

TEST_F(KeyboardLanguagesXkbTest, UsAndGermanLayoutsGiveEnglishThenGerman) {
  setLayouts(QStringLiteral("us,de"));
  EXPECT_EQ(keyboardInputLanguages(), (std::vector<std::string>{"en", "de"}));
}

TEST_F(KeyboardLanguagesXkbTest, RepeatedLanguagesAreListedOnce) {
  setLayouts(QStringLiteral("us,gb,fr"));
  EXPECT_EQ(keyboardInputLanguages(), (std::vector<std::string>{"en", "fr"}));
}

TEST_F(KeyboardLanguagesXkbTest, VariantsUseTheirLayoutsLanguage) {
  setLayouts(QStringLiteral("de,br"), QStringLiteral("nodeadkeys,abnt2"));
  EXPECT_EQ(keyboardInputLanguages(), (std::vector<std::string>{"de", "pt"}));
}

TEST_F(KeyboardLanguagesXkbTest, LayoutsWithoutAKnownLanguageAreSkipped) {
  setLayouts(QStringLiteral("iq,fr"), QStringLiteral("ku,"));
  EXPECT_EQ(keyboardInputLanguages(), (std::vector<std::string>{"fr"}));
}

TEST_F(KeyboardLanguagesXkbTest, CurrentLanguageFollowsTheActiveGroup) {
  setLayouts(QStringLiteral("us,br"));
  lockGroup(0);
  EXPECT_EQ(currentKeyboardLanguage(), "en");
  lockGroup(1);
  EXPECT_EQ(currentKeyboardLanguage(), "pt");
  lockGroup(0);
}

TEST(KeyboardLanguagesWithoutDisplay, FallBackToEnglish) {
  const QByteArray saved = qgetenv("DISPLAY");
  qputenv("DISPLAY", ":9999");
  EXPECT_EQ(currentKeyboardLanguage(), "en");
  EXPECT_EQ(keyboardInputLanguages(), (std::vector<std::string>{"en"}));
  qputenv("DISPLAY", saved);
}

}  // namespace
}  // namespace pellum
