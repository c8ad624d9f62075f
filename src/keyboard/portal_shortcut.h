#pragma once

// One entry of the GlobalShortcuts portal's a(sa{sv}) shortcut list, with
// its D-Bus marshalling: the portal backend writes and reads it, and the
// tests' scripted portal answers with it.

#include <QDBusArgument>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariantMap>

struct PortalShortcut {
  QString id;
  QVariantMap options;
};
using PortalShortcuts = QList<PortalShortcut>;
Q_DECLARE_METATYPE(PortalShortcut)
Q_DECLARE_METATYPE(PortalShortcuts)

QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut);
const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut);

namespace pellum {

// Registers both types with Qt D-Bus; safe to call more than once.
void registerPortalShortcutTypes();

}  // namespace pellum
