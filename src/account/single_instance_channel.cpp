#include "account/single_instance_channel.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLocalSocket>
#include <QPointer>
#include <QStandardPaths>

#include "pellum/build_config.h"

namespace pellum {
namespace {

constexpr int kConnectTimeoutMs = 1000;
constexpr int kWriteTimeoutMs = 2000;
constexpr qsizetype kMaxMessageBytes = 64 * 1024;

}  // namespace

SingleInstanceChannel::SingleInstanceChannel(QString socketPath) : socketPath_(std::move(socketPath)) {
  server_.setSocketOptions(QLocalServer::UserAccessOption);
  connect(&server_, &QLocalServer::newConnection, this, &SingleInstanceChannel::acceptConnection);
}

QString SingleInstanceChannel::defaultSocketPath() {
  const QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
  return QDir(runtime).filePath(QString::fromUtf8(build_config::appId.data(), build_config::appId.size()) +
                                QStringLiteral(".instance"));
}

bool SingleInstanceChannel::isAnotherInstanceRunning() const {
  QLocalSocket socket;
  socket.connectToServer(socketPath_);
  return socket.waitForConnected(kConnectTimeoutMs);
}

bool SingleInstanceChannel::sendToRunningInstance(const QStringList& arguments) const {
  QLocalSocket socket;
  socket.connectToServer(socketPath_);
  if (!socket.waitForConnected(kConnectTimeoutMs)) return false;
  socket.write(QJsonDocument(QJsonArray::fromStringList(arguments)).toJson(QJsonDocument::Compact));
  if (!socket.waitForBytesWritten(kWriteTimeoutMs)) return false;
  socket.disconnectFromServer();
  if (socket.state() != QLocalSocket::UnconnectedState) socket.waitForDisconnected(kWriteTimeoutMs);
  return true;
}

bool SingleInstanceChannel::listen() {
  if (server_.isListening()) return true;
  // Ask first: with access options set, QLocalServer binds in a private
  // directory and renames the socket into place, which would silently take
  // the name from a running instance.
  if (isAnotherInstanceRunning()) return false;
  // Nobody answers: any file there is what a crashed instance left behind.
  QLocalServer::removeServer(socketPath_);
  return server_.listen(socketPath_);
}

void SingleInstanceChannel::acceptConnection() {
  while (QLocalSocket* socket = server_.nextPendingConnection()) {
    connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    auto received = std::make_shared<QByteArray>();
    connect(socket, &QLocalSocket::readyRead, this, [socket, received] {
      received->append(socket->readAll());
      if (received->size() > kMaxMessageBytes) socket->abort();
    });
    connect(socket, &QLocalSocket::disconnected, this, [this, socket, received] {
      received->append(socket->readAll());
      if (received->size() > kMaxMessageBytes) return;
      const QJsonDocument message = QJsonDocument::fromJson(*received);
      if (!message.isArray()) return;
      QStringList arguments;
      for (const auto& value : message.array()) {
        if (value.isString()) arguments << value.toString();
      }
      if (onArguments) onArguments(arguments);
    });
  }
}

}  // namespace pellum
