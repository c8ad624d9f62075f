#pragma once

#include <QLocalServer>
#include <QObject>
#include <QString>
#include <QStringList>
#include <functional>

namespace pellum {

// One Pellum per user session: the first start listens on a local socket
// in $XDG_RUNTIME_DIR; a later start (the desktop's handler for a
// "pellum://paired?..." link runs `pellum URL`) hands its arguments to the
// running one and exits. The runtime directory is the user's own (mode
// 0700), and the socket is made user-only besides.
//
// Wire format: the sender writes its arguments as one JSON array of strings
// and closes; the instance reads until the sender is gone.
//
// Thread contract: main thread; `onArguments` is called there.
class SingleInstanceChannel : public QObject {
 public:
  // `socketPath` defaults to $XDG_RUNTIME_DIR/<application id>.instance.
  explicit SingleInstanceChannel(QString socketPath = defaultSocketPath());

  static QString defaultSocketPath();
  const QString& socketPath() const { return socketPath_; }

  // Whether an instance answers on the socket.
  bool isAnotherInstanceRunning() const;

  // Hands `arguments` to the running instance; false when none took them.
  bool sendToRunningInstance(const QStringList& arguments) const;

  // Becomes the running instance. A socket file left by an instance that
  // died is replaced; false when another instance answers, or the socket
  // cannot be made.
  bool listen();

  // The arguments of each later start.
  std::function<void(const QStringList&)> onArguments;

 private:
  void acceptConnection();

  QString socketPath_;
  QLocalServer server_;
};

}  // namespace pellum
