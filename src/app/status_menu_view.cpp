#include "app/status_menu_view.h"

namespace pellum {

void renderMenu(QMenu& menu, const std::vector<MenuItem>& items,
                std::function<void(MenuAction action, const std::string& object)> onAction) {
  for (const auto& item : items) {
    const QString title = QString::fromStdString(item.title);
    switch (item.kind) {
      case MenuItem::Kind::separator:
        menu.addSeparator();
        break;
      case MenuItem::Kind::label:
        menu.addAction(title)->setEnabled(false);
        break;
      case MenuItem::Kind::submenu:
        renderMenu(*menu.addMenu(title), item.children, onAction);
        break;
      case MenuItem::Kind::action: {
        QAction* action = menu.addAction(title);
        if (isChoice(item.action)) {
          action->setCheckable(true);
          action->setChecked(item.checked);
        }
        QObject::connect(
            action, &QAction::triggered, action,
            [onAction, chosen = item.action, object = item.representedObject] { onAction(chosen, object); });
        break;
      }
    }
  }
}

}  // namespace pellum
