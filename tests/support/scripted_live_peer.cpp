#include "support/scripted_live_peer.h"

#include <QHostAddress>

namespace pellum::test {

ScriptedLivePeer::ScriptedLivePeer() : server_(QStringLiteral("scripted"), QWebSocketServer::NonSecureMode) {
  server_.listen(QHostAddress::LocalHost, 0);
  connect(&server_, &QWebSocketServer::newConnection, this, [this] {
    QWebSocket* socket = server_.nextPendingConnection();
    socket->setParent(this);
    client_ = socket;
    request_ = socket->request();
    connect(socket, &QWebSocket::binaryMessageReceived, this, [this](const QByteArray& payload) {
      received_.append({true, payload});
    });
    connect(socket, &QWebSocket::textMessageReceived, this, [this](const QString& payload) {
      received_.append({false, payload.toUtf8()});
    });
  });
}

QString ScriptedLivePeer::httpBase() const { return QStringLiteral("http://127.0.0.1:%1").arg(port()); }

void ScriptedLivePeer::adopt(QTcpSocket* socket) { server_.handleConnection(socket); }

int ScriptedLivePeer::binaryCount() const {
  int count = 0;
  for (const auto& message : received_) count += message.binary ? 1 : 0;
  return count;
}

int ScriptedLivePeer::stopCount() const {
  int count = 0;
  for (const auto& message : received_)
    count += (!message.binary && message.payload == R"({"type":"stop"})") ? 1 : 0;
  return count;
}

void ScriptedLivePeer::sendText(const QByteArray& json) {
  if (client_) client_->sendTextMessage(QString::fromUtf8(json));
}

void ScriptedLivePeer::sendBinary(const QByteArray& json) {
  if (client_) client_->sendBinaryMessage(json);
}

void ScriptedLivePeer::close() {
  if (client_) client_->close(QWebSocketProtocol::CloseCodeNormal, QStringLiteral("bye"));
}

void ScriptedLivePeer::drop() {
  if (client_) client_->abort();
}

}  // namespace pellum::test
