#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <functional>

namespace pellum::test {

// An HTTP/1.1 server on loopback that a test scripts by hand: it reads one
// request (headers and a Content-Length body), then plays the test's reply
// as pieces of raw bytes with pauses between them, so replies can be split
// at awkward places. Lives on the test's thread.
class ScriptedHttpPeer : public QObject {
 public:
  struct Step {
    QByteArray bytes;  // written as they are
    int pauseBeforeMs = 0;
    bool closeAfter = false;  // cut the connection after this piece
  };

  ScriptedHttpPeer();

  quint16 port() const { return server_.serverPort(); }
  QString httpBase() const;

  // The reply to play once a whole request has arrived. Leave it empty to
  // never answer.
  void setReply(QList<Step> steps) { steps_ = std::move(steps); }

  bool requestComplete() const { return requestComplete_; }
  // Connections accepted so far, whether or not they sent anything.
  int connectionCount() const { return connectionCount_; }
  const QByteArray& method() const { return method_; }
  const QByteArray& path() const { return path_; }
  QByteArray header(const QByteArray& name) const { return headers_.value(name.toLower()); }
  const QByteArray& body() const { return body_; }
  bool replyFinished() const { return nextStep_ >= steps_.size() && requestComplete_; }

  // Hands WebSocket upgrade requests to `adopt` instead of answering them,
  // so one port serves both routes, as the real server's does.
  void setUpgradeHandler(std::function<void(QTcpSocket*)> adopt) { adoptUpgrade_ = std::move(adopt); }

  // Helpers for the common pieces.
  static QByteArray eventStreamHead(int status = 200);

 private:
  void onReadyRead();
  void playNext();

  QTcpServer server_;
  QPointer<QTcpSocket> client_;
  QByteArray incoming_;
  bool requestComplete_ = false;
  QByteArray method_;
  QByteArray path_;
  QMap<QByteArray, QByteArray> headers_;
  QByteArray body_;
  QList<Step> steps_;
  std::function<void(QTcpSocket*)> adoptUpgrade_;
  int nextStep_ = 0;
  int connectionCount_ = 0;
};

}  // namespace pellum::test
