#include "app/login_item.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include "app/autostart_entry.h"

namespace pellum {

std::string LoginItem::entryPath() {
  const QString config = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
  return (config + QStringLiteral("/autostart/pellum.desktop")).toStdString();
}

bool LoginItem::isEnabled() {
  QFile entry(QString::fromStdString(entryPath()));
  if (!entry.open(QIODevice::ReadOnly)) return false;
  return autostartEntryStartsProgram(entry.read(64 * 1024).toStdString());
}

std::string LoginItem::setEnabled(bool enabled, const std::string& executable) {
  const QString path = QString::fromStdString(entryPath());
  if (!enabled) {
    if (!QFile::exists(path) || QFile::remove(path)) return {};
    return "could not remove " + entryPath();
  }
  if (!QDir().mkpath(QFileInfo(path).absolutePath())) return "could not create the folder of " + entryPath();
  QSaveFile entry(path);
  if (!entry.open(QIODevice::WriteOnly))
    return "could not write " + entryPath() + ": " + entry.errorString().toStdString();
  entry.write(QByteArray::fromStdString(autostartEntryText(executable)));
  if (!entry.commit()) return "could not write " + entryPath() + ": " + entry.errorString().toStdString();
  return {};
}

}  // namespace pellum
