#pragma once

#include <QMenu>
#include <functional>
#include <string>
#include <vector>

#include "app/status_menu_model.h"

namespace pellum {

// Fills `menu` with the rows of the menu model; choosing a row calls
// `onAction` with its action and represented object. Rows whose action
// selects or toggles a choice (`isChoice`) show a check mark when checked.
// No row has a keyboard shortcut.
void renderMenu(QMenu& menu, const std::vector<MenuItem>& items,
                std::function<void(MenuAction action, const std::string& object)> onAction);

}  // namespace pellum
