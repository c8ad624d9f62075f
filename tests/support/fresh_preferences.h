#pragma once

#include <QSettings>
#include <QString>
#include <QtGlobal>

namespace pellum::test {

// Points the settings store at `configHome` and empties it. The store keeps
// the first directory it saw, so the clear is what makes each test start
// from nothing.
inline void useFreshPreferences(const QString& configHome) {
  qputenv("XDG_CONFIG_HOME", configHome.toUtf8());
  QSettings(QSettings::NativeFormat, QSettings::UserScope, QStringLiteral("pellum"), QStringLiteral("pellum"))
      .clear();
}

}  // namespace pellum::test
