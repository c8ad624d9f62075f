#include "keyboard/portal_shortcut.h"

#include <QDBusMetaType>

QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut) {
  argument.beginStructure();
  argument << shortcut.id << shortcut.options;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut) {
  argument.beginStructure();
  argument >> shortcut.id >> shortcut.options;
  argument.endStructure();
  return argument;
}

namespace pellum {

void registerPortalShortcutTypes() {
  qDBusRegisterMetaType<PortalShortcut>();
  qDBusRegisterMetaType<PortalShortcuts>();
}

}  // namespace pellum
