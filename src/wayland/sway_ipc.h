#pragma once

#include <QLocalSocket>
#include <QObject>
#include <QTimer>
#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <string>

#include "wayland/sway_ipc_framing.h"

namespace pellum {

// A connection to sway's IPC socket ($SWAYSOCK), for commands, queries and
// event subscriptions. Replies come back in the order of the requests, each
// within a deadline; a reply that does not come in time, or bytes that are
// not sway's, end the connection (onLost), since every later reply would be
// matched to the wrong request.
//
// Main thread only.
class SwayIpc : public QObject {
 public:
  using Reply = std::function<void(std::optional<std::string> payload)>;  // nullopt: no answer

  explicit SwayIpc(std::chrono::milliseconds replyDeadline = std::chrono::milliseconds(2000));
  ~SwayIpc() override;

  // Connects to `socketPath` ($SWAYSOCK when empty), waiting at most
  // `deadline`. False, with error() saying why, when it cannot.
  bool connectTo(const std::string& socketPath = {},
                 std::chrono::milliseconds deadline = std::chrono::milliseconds(1000));
  bool isConnected() const;
  const std::string& error() const { return error_; }

  // Sends a request; `onReply` runs once with the payload, or nullopt when
  // the connection ends first.
  void send(uint32_t type, const std::string& payload, Reply onReply = {});
  // Sends and waits for the answer (for start-up and exit); nullopt when
  // none came within the reply deadline.
  std::optional<std::string> request(uint32_t type, const std::string& payload);

  // Events of the subscribed kinds.
  std::function<void(const sway::Message&)> onEvent;
  // The connection ended (sway exited, or it broke a deadline).
  std::function<void()> onLost;

 private:
  struct Pending {
    Reply onReply;
    std::chrono::steady_clock::time_point deadline;
  };

  void readMessages();
  void deliver(sway::Message message);
  void lose(const std::string& why);
  void armDeadline();

  QLocalSocket socket_;
  sway::FrameReader reader_;
  std::deque<Pending> pending_;
  QTimer deadlineTimer_;
  std::chrono::milliseconds replyDeadline_;
  std::string error_;
  bool lost_ = false;
};

}  // namespace pellum
