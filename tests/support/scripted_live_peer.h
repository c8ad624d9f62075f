#pragma once

#include <QByteArray>
#include <QList>
#include <QNetworkRequest>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTcpSocket>
#include <QWebSocket>
#include <QWebSocketServer>

namespace pellum::test {

// A WebSocket server on loopback that a test scripts by hand, for replies a
// real transcription server would never produce. It accepts one client at a
// time and records everything that client sends. Lives on the test's thread.
class ScriptedLivePeer : public QObject {
 public:
  ScriptedLivePeer();

  quint16 port() const { return server_.serverPort(); }
  QString httpBase() const;

  bool hasClient() const { return !client_.isNull(); }
  QWebSocket* client() const { return client_; }
  const QNetworkRequest& request() const { return request_; }

  // Messages received from the client, in order.
  struct Message {
    bool binary;
    QByteArray payload;
  };
  const QList<Message>& received() const { return received_; }
  int binaryCount() const;
  int stopCount() const;

  // Takes over a connection accepted elsewhere (its upgrade request unread).
  void adopt(QTcpSocket* socket);

  void sendText(const QByteArray& json);
  void sendBinary(const QByteArray& json);
  void close();  // a close frame
  void drop();   // the TCP connection cut without a close frame

 private:
  QWebSocketServer server_;
  QPointer<QWebSocket> client_;
  QNetworkRequest request_;
  QList<Message> received_;
};

}  // namespace pellum::test
