// The menu model drawn into a real QMenu: which rows carry check marks, and
// what choosing a row hands back.
#include "app/status_menu_view.h"

#include <gtest/gtest.h>

#include <QAction>

namespace pellum {
namespace {

using Item = MenuItem;

QAction* actionTitled(QMenu& menu, const QString& title) {
  for (QAction* action : menu.actions()) {
    if (action->text() == title) return action;
    if (action->menu()) {
      if (QAction* found = actionTitled(*action->menu(), title)) return found;
    }
  }
  return nullptr;
}

std::vector<Item> rows() {
  return {Item::label("Hold Right Ctrl to dictate"),
          Item::separator(),
          Item::submenu("Microphone", {Item::item("Automatic", MenuAction::selectAutoMicrophone, false),
                                       Item::item("USB Mic", MenuAction::selectMicrophone, true, "usb")}),
          Item::item("Add More Languages\u2026", MenuAction::openLanguagePicker),
          Item::item("Hold or Tap", MenuAction::toggleHoldOrTap, true),
          Item::item("Quit Pellum", MenuAction::quit)};
}

TEST(StatusMenuView, ChoicesCarryTheirCheckMarkAndOtherRowsNone) {
  QMenu menu;
  renderMenu(menu, rows(), [](MenuAction, const std::string&) {});
  ASSERT_EQ(menu.actions().size(), 6);
  EXPECT_FALSE(menu.actions()[0]->isEnabled());  // the label
  EXPECT_TRUE(menu.actions()[1]->isSeparator());
  QAction* automatic = actionTitled(menu, QStringLiteral("Automatic"));
  QAction* usb = actionTitled(menu, QStringLiteral("USB Mic"));
  QAction* holdOrTap = actionTitled(menu, QStringLiteral("Hold or Tap"));
  ASSERT_TRUE(automatic && usb && holdOrTap);
  EXPECT_TRUE(automatic->isCheckable());
  EXPECT_FALSE(automatic->isChecked());
  EXPECT_TRUE(usb->isCheckable());
  EXPECT_TRUE(usb->isChecked());
  EXPECT_TRUE(holdOrTap->isChecked());
  EXPECT_FALSE(actionTitled(menu, QStringLiteral("Add More Languages\u2026"))->isCheckable());
  EXPECT_FALSE(actionTitled(menu, QStringLiteral("Quit Pellum"))->isCheckable());
}

TEST(StatusMenuView, ChoosingARowHandsBackItsActionAndObject) {
  QMenu menu;
  std::vector<std::pair<MenuAction, std::string>> chosen;
  renderMenu(menu, rows(), [&chosen](MenuAction action, const std::string& object) {
    chosen.emplace_back(action, object);
  });
  actionTitled(menu, QStringLiteral("USB Mic"))->trigger();
  actionTitled(menu, QStringLiteral("Add More Languages\u2026"))->trigger();
  ASSERT_EQ(chosen.size(), 2u);
  EXPECT_EQ(chosen[0].first, MenuAction::selectMicrophone);
  EXPECT_EQ(chosen[0].second, "usb");
  EXPECT_EQ(chosen[1].first, MenuAction::openLanguagePicker);
  EXPECT_EQ(chosen[1].second, "");
}

}  // namespace
}  // namespace pellum
