#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QTemporaryDir>

namespace pellum::test {

// A private Secret Service for one test program: a session bus started by
// dbus-run-session with gnome-keyring-daemon on it, its login keyring
// created and unlocked with an empty password read from stdin, its files in
// a temporary directory. The program's DBUS_SESSION_BUS_ADDRESS points at
// the bus from construction on, and child processes inherit it.
//
// GLib's shared session-bus connection ends the process when its bus goes
// away, so the bus must outlive the program: the session waits on a pipe
// that only the program's exit closes, and then dbus-run-session stops the
// bus and the keyring daemon by itself. Make one per program (a global
// test environment), never one per test.
class GnomeKeyring {
 public:
  GnomeKeyring();
  GnomeKeyring(const GnomeKeyring&) = delete;
  GnomeKeyring& operator=(const GnomeKeyring&) = delete;

  bool isRunning() const { return !address_.isEmpty(); }
  const QString& busAddress() const { return address_; }

  struct Item {
    QString secret;
    QMap<QString, QString> attributes;  // "server", "user", "type", ...
  };
  // Every item whose attributes include all of `attributes`, as secret-tool
  // finds them (no need for them to be unlocked: the keyring is).
  QList<Item> search(const QMap<QString, QString>& attributes) const;
  // Removes every item whose attributes include all of `attributes`.
  bool clear(const QMap<QString, QString>& attributes) const;

 private:
  QTemporaryDir dir_;
  QString address_;
};

}  // namespace pellum::test
