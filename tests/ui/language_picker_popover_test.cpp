// The language picker as a real window on a private X server.
#include "ui/language_picker_popover.h"

#include <gtest/gtest.h>

#include <QLineEdit>
#include <QListWidget>
#include <QWindow>

#include "support/event_loop.h"
#include "support/probe_process.h"
#include "support/xtest_keyboard.h"
#include "ui/dictation_key_recorder.h"
#include "ui/language_picker_view.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;

class LanguagePickerPopoverTest : public ::testing::Test {
 protected:
  // Until the list is on the screen, mapped by the X server.
  bool waitUntilShown() {
    return test::waitUntil(
        [&] {
          return popover_.view() && popover_.view()->isVisible() && popover_.view()->windowHandle() &&
                 popover_.view()->windowHandle()->isExposed();
        },
        2s);
  }
  // Until typing goes to the search field.
  bool waitUntilFocused() {
    return test::waitUntil(
        [&] {
          return popover_.view() && popover_.view()->isActiveWindow() &&
                 popover_.view()->searchField()->hasFocus();
        },
        2s);
  }

  LanguagePickerPopover popover_;
  test::XTestKeyboard input_;
};

// A point outside the list (shown under an icon at 600, 0), on the probe's
// window when one is up (the probe sits at the top-left corner, 600x60).
constexpr int kOutsideX = 100;
constexpr int kOutsideY = 30;

TEST_F(LanguagePickerPopoverTest, MultiSelectOpensWithTheGivenLanguagesTickedAndSavesOnFirstClick) {
  std::vector<std::vector<std::string>> saves;
  popover_.showMultiSelect(QRect(600, 0, 24, 24), {"en", "de"},
                           [&](const std::vector<std::string>& codes) { saves.push_back(codes); });
  ASSERT_NE(popover_.view(), nullptr);
  EXPECT_TRUE(popover_.view()->isVisible());
  EXPECT_EQ(popover_.view()->size(), QSize(280, 360));
  EXPECT_EQ(popover_.view()->searchField()->placeholderText(), QStringLiteral("Search languages"));
  EXPECT_EQ(popover_.view()->list()->count(), 99);
  EXPECT_TRUE(popover_.view()->model().isSelected("en"));
  EXPECT_TRUE(popover_.view()->model().isSelected("de"));
  EXPECT_FALSE(popover_.view()->model().isSelected("es"));
  EXPECT_TRUE(saves.empty());

  popover_.view()->searchField()->setText(QStringLiteral("spanish"));
  ASSERT_EQ(popover_.view()->list()->count(), 1);
  popover_.view()->clickRow(0);
  ASSERT_EQ(saves.size(), 1u);
  for (const char* code : {"en", "de", "es"})
    EXPECT_NE(std::find(saves[0].begin(), saves[0].end(), code), saves[0].end()) << code;
  EXPECT_TRUE(popover_.view()->isVisible());  // it stays open
}

TEST_F(LanguagePickerPopoverTest, SearchFiltersOnEveryKeystroke) {
  popover_.showMultiSelect(QRect(), {}, {});
  popover_.view()->searchField()->setText(QStringLiteral(" FR "));
  EXPECT_EQ(popover_.view()->list()->count(), 2);  // Afrikaans, French
  popover_.view()->searchField()->setText(QString());
  EXPECT_EQ(popover_.view()->list()->count(), 99);
}

TEST_F(LanguagePickerPopoverTest, SingleSelectReportsOnceAndCloses) {
  std::vector<std::string> picks;
  popover_.showSingleSelect(QRect(600, 0, 24, 24), std::string("de"),
                            [&](const std::string& code) { picks.push_back(code); });
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
  popover_.showMultiSelect(QRect(), {}, {});
  QPointer<LanguagePickerView> first = popover_.view();
  popover_.showSingleSelect(QRect(), std::nullopt, {});
  test::spin(50ms);
  EXPECT_TRUE(first.isNull());
  EXPECT_NE(popover_.view(), nullptr);
  popover_.close();
  test::spin(50ms);
  EXPECT_EQ(popover_.view(), nullptr);
}

TEST_F(LanguagePickerPopoverTest, TypingGoesToTheSearchFieldAndFilters) {
  popover_.showMultiSelect(QRect(600, 0, 24, 24), {}, {});
  ASSERT_TRUE(waitUntilShown());
  ASSERT_TRUE(waitUntilFocused());
  input_.tap("f");
  input_.tap("r");
  ASSERT_TRUE(
      test::waitUntil([&] { return popover_.view()->list()->count() == 2; }, 2s));  // Afrikaans, French
  EXPECT_EQ(popover_.view()->searchField()->text(), QStringLiteral("fr"));
}

TEST_F(LanguagePickerPopoverTest, EscapeClosesIt) {
  popover_.showSingleSelect(QRect(600, 0, 24, 24), std::nullopt, {});
  ASSERT_TRUE(waitUntilShown());
  ASSERT_TRUE(waitUntilFocused());
  input_.tap("Escape");
  ASSERT_TRUE(test::waitUntil([&] { return popover_.view() == nullptr; }, 2s));
}

// The dictation key is grabbed passively on the root window; a list that
// grabbed the keyboard (as a popup does) would swallow it.
TEST_F(LanguagePickerPopoverTest, TheDictationKeyWorksWhileTheListIsOpen) {
  test::DictationKeyRecorder key;
  ASSERT_TRUE(key.start()) << key.unavailableReason();
  popover_.showMultiSelect(QRect(600, 0, 24, 24), {}, {});
  ASSERT_TRUE(waitUntilShown());
  ASSERT_TRUE(waitUntilFocused());
  EXPECT_EQ(key.pressAndRelease(), (std::vector<std::string>{"press", "release"}));
  EXPECT_NE(popover_.view(), nullptr);
  EXPECT_EQ(popover_.view()->searchField()->text(), QString());
}

TEST_F(LanguagePickerPopoverTest, AClickOnAnotherWindowClosesIt) {
  test::ProbeProcess probe;
  ASSERT_TRUE(probe.waitUntilReady());
  popover_.showMultiSelect(QRect(600, 0, 24, 24), {}, {});
  ASSERT_TRUE(waitUntilShown());
  QPointer<LanguagePickerView> view = popover_.view();
  ASSERT_FALSE(view->frameGeometry().contains(kOutsideX, kOutsideY));
  ASSERT_TRUE(input_.click(kOutsideX, kOutsideY, 3));
  ASSERT_TRUE(test::waitUntil([&] { return popover_.view() == nullptr && view.isNull(); }, 3s));
}

TEST_F(LanguagePickerPopoverTest, AClickInsideLeavesItOpen) {
  popover_.showMultiSelect(QRect(600, 0, 24, 24), {}, {});
  ASSERT_TRUE(waitUntilShown());
  // A second watcher tells when the click has been seen on the desktop.
  auto witness = OutsideClickMonitor::create();
  int seen = 0;
  ASSERT_TRUE(witness->start([&](ScreenPoint) { ++seen; }));
  QLineEdit* field = popover_.view()->searchField();
  const QPoint inside = field->mapToGlobal(field->rect().center());
  ASSERT_TRUE(input_.click(inside.x(), inside.y()));
  ASSERT_TRUE(test::waitUntil([&] { return seen == 1; }, 3s));
  test::spin(200ms);
  ASSERT_NE(popover_.view(), nullptr);
  // It was watching all along: the next click outside closes it.
  ASSERT_TRUE(input_.click(kOutsideX, kOutsideY));
  ASSERT_TRUE(test::waitUntil([&] { return popover_.view() == nullptr; }, 3s));
}

}  // namespace
}  // namespace pellum
