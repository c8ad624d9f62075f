// The language picker as a real popup on a private X server.
#include "ui/language_picker_popover.h"

#include <gtest/gtest.h>

#include <QLineEdit>
#include <QListWidget>
#include <QSettings>
#include <QTemporaryDir>

#include "app/preferences.h"
#include "support/event_loop.h"
#include "ui/language_picker_view.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;

class LanguagePickerPopoverTest : public ::testing::Test {
 protected:
  void SetUp() override {
    qputenv("XDG_CONFIG_HOME", config_.path().toUtf8());
    QSettings(QSettings::NativeFormat, QSettings::UserScope, QStringLiteral("pellum"), QStringLiteral("pellum")).clear();
  }
  QTemporaryDir config_;
  LanguagePickerPopover popover_;
};

TEST_F(LanguagePickerPopoverTest, MultiSelectOpensWithTheKeyboardLanguagesTickedAndSavesOnFirstClick) {
  int changes = 0;
  popover_.showMultiSelect(QRect(600, 0, 24, 24), [&] { ++changes; });
  ASSERT_NE(popover_.view(), nullptr);
  EXPECT_TRUE(popover_.view()->isVisible());
  EXPECT_EQ(popover_.view()->size(), QSize(280, 360));
  EXPECT_EQ(popover_.view()->searchField()->placeholderText(), QStringLiteral("Search languages"));
  EXPECT_EQ(popover_.view()->list()->count(), 99);
  const auto keyboard = Preferences::codeSwitchingLanguages();
  for (const auto& code : keyboard) EXPECT_TRUE(popover_.view()->model().isSelected(code)) << code;
  EXPECT_EQ(Preferences::storedCodeSwitchingLanguages(), std::nullopt);

  popover_.view()->searchField()->setText(QStringLiteral("spanish"));
  ASSERT_EQ(popover_.view()->list()->count(), 1);
  popover_.view()->clickRow(0);
  EXPECT_EQ(changes, 1);
  ASSERT_TRUE(Preferences::storedCodeSwitchingLanguages());
  EXPECT_NE(std::find(Preferences::storedCodeSwitchingLanguages()->begin(), Preferences::storedCodeSwitchingLanguages()->end(),
                      "es"),
            Preferences::storedCodeSwitchingLanguages()->end());
  EXPECT_TRUE(popover_.view()->isVisible());  // it stays open
}

TEST_F(LanguagePickerPopoverTest, SearchFiltersOnEveryKeystroke) {
  popover_.showMultiSelect(QRect(), {});
  popover_.view()->searchField()->setText(QStringLiteral(" FR "));
  EXPECT_EQ(popover_.view()->list()->count(), 2);  // Afrikaans, French
  popover_.view()->searchField()->setText(QString());
  EXPECT_EQ(popover_.view()->list()->count(), 99);
}

TEST_F(LanguagePickerPopoverTest, SingleSelectReportsOnceAndCloses) {
  std::vector<std::string> picks;
  popover_.showSingleSelect(QRect(600, 0, 24, 24), std::string("de"), [&](const std::string& code) { picks.push_back(code); });
  auto* view = popover_.view();
  ASSERT_NE(view, nullptr);
  EXPECT_TRUE(view->model().isSelected("de"));
  view->searchField()->setText(QStringLiteral("japanese"));
  view->clickRow(0);
  EXPECT_EQ(picks, (std::vector<std::string>{"ja"}));
  test::spin(50ms);
  EXPECT_EQ(popover_.view(), nullptr);
}

TEST_F(LanguagePickerPopoverTest, ReopeningReplacesTheList) {
  popover_.showMultiSelect(QRect(), {});
  QPointer<LanguagePickerView> first = popover_.view();
  popover_.showSingleSelect(QRect(), std::nullopt, {});
  test::spin(50ms);
  EXPECT_TRUE(first.isNull());
  EXPECT_NE(popover_.view(), nullptr);
  popover_.close();
  test::spin(50ms);
  EXPECT_EQ(popover_.view(), nullptr);
}

}  // namespace
}  // namespace pellum
