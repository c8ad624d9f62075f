#include "support/scripted_http_peer.h"

#include <QHostAddress>
#include <QTimer>

namespace pellum::test {

ScriptedHttpPeer::ScriptedHttpPeer() {
  server_.listen(QHostAddress::LocalHost, 0);
  connect(&server_, &QTcpServer::newConnection, this, [this] {
    QTcpSocket* socket = server_.nextPendingConnection();
    socket->setParent(this);
    ++connectionCount_;
    connect(socket, &QTcpSocket::readyRead, this, [this, socket] {
      if (adoptUpgrade_ && socket != client_ && socket->peek(4) == "GET ") {
        socket->disconnect(this);
        adoptUpgrade_(socket);
        return;
      }
      client_ = socket;
      onReadyRead();
    });
  });
}

QString ScriptedHttpPeer::httpBase() const { return QStringLiteral("http://127.0.0.1:%1").arg(port()); }

QByteArray ScriptedHttpPeer::eventStreamHead(int status) {
  return "HTTP/1.1 " + QByteArray::number(status) +
         " Scripted\r\nContent-Type: text/event-stream\r\nConnection: close\r\n\r\n";
}

void ScriptedHttpPeer::onReadyRead() {
  incoming_ += client_->readAll();
  if (requestComplete_) return;
  const auto headEnd = incoming_.indexOf("\r\n\r\n");
  if (headEnd < 0) return;
  const QList<QByteArray> lines = incoming_.left(headEnd).split('\n');
  const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
  method_ = requestLine.value(0);
  path_ = requestLine.value(1);
  headers_.clear();
  for (qsizetype i = 1; i < lines.size(); ++i) {
    const auto colon = lines[i].indexOf(':');
    if (colon > 0) headers_[lines[i].left(colon).trimmed().toLower()] = lines[i].mid(colon + 1).trimmed();
  }
  const qsizetype length = headers_.value("content-length").toLongLong();
  if (incoming_.size() - headEnd - 4 < length) return;
  body_ = incoming_.mid(headEnd + 4, length);
  requestComplete_ = true;
  playNext();
}

void ScriptedHttpPeer::playNext() {
  if (nextStep_ >= steps_.size() || !client_) return;
  const Step step = steps_[nextStep_];
  QTimer::singleShot(step.pauseBeforeMs, this, [this, step] {
    if (!client_) return;
    client_->write(step.bytes);
    client_->flush();
    ++nextStep_;
    if (step.closeAfter) {
      client_->disconnectFromHost();
      return;
    }
    playNext();
  });
}

}  // namespace pellum::test
