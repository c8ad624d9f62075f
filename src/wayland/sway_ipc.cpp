#include "wayland/sway_ipc.h"

#include <QDeadlineTimer>
#include <cstdlib>

namespace pellum {

SwayIpc::SwayIpc(std::chrono::milliseconds replyDeadline) : replyDeadline_(replyDeadline) {
  deadlineTimer_.setSingleShot(true);
  QObject::connect(&deadlineTimer_, &QTimer::timeout, this, [this] {
    if (!pending_.empty() && pending_.front().deadline <= std::chrono::steady_clock::now()) {
      lose("sway did not answer within " + std::to_string(replyDeadline_.count()) + " ms");
    } else {
      armDeadline();
    }
  });
  QObject::connect(&socket_, &QLocalSocket::readyRead, this, [this] { readMessages(); });
  QObject::connect(&socket_, &QLocalSocket::disconnected, this,
                   [this] { lose("sway closed its IPC socket"); });
}

SwayIpc::~SwayIpc() {
  socket_.disconnect(this);
  socket_.abort();
}

bool SwayIpc::connectTo(const std::string& socketPath, std::chrono::milliseconds deadline) {
  std::string path = socketPath;
  if (path.empty()) {
    const char* fromEnvironment = std::getenv("SWAYSOCK");
    path = fromEnvironment ? fromEnvironment : "";
  }
  if (path.empty()) {
    error_ = "SWAYSOCK is not set";
    return false;
  }
  socket_.connectToServer(QString::fromStdString(path));
  if (!socket_.waitForConnected(static_cast<int>(deadline.count()))) {
    error_ = "cannot reach sway at " + path + " (" + socket_.errorString().toStdString() + ")";
    return false;
  }
  error_.clear();
  lost_ = false;
  return true;
}

bool SwayIpc::isConnected() const { return !lost_ && socket_.state() == QLocalSocket::ConnectedState; }

void SwayIpc::send(uint32_t type, const std::string& payload, Reply onReply) {
  if (!isConnected()) {
    if (onReply) onReply(std::nullopt);
    return;
  }
  const std::string frame = sway::encode(type, payload);
  socket_.write(frame.data(), static_cast<qint64>(frame.size()));
  socket_.flush();
  pending_.push_back({std::move(onReply), std::chrono::steady_clock::now() + replyDeadline_});
  if (!deadlineTimer_.isActive()) armDeadline();
}

std::optional<std::string> SwayIpc::request(uint32_t type, const std::string& payload) {
  std::optional<std::string> answer;
  bool answered = false;
  send(type, payload, [&](std::optional<std::string> reply) {
    answer = std::move(reply);
    answered = true;
  });
  QDeadlineTimer deadline(replyDeadline_);
  while (!answered && isConnected() && !deadline.hasExpired()) {
    if (socket_.waitForReadyRead(static_cast<int>(std::max<qint64>(1, deadline.remainingTime()))))
      readMessages();
  }
  if (!answered) lose("sway did not answer within " + std::to_string(replyDeadline_.count()) + " ms");
  return answer;
}

void SwayIpc::readMessages() {
  const QByteArray bytes = socket_.readAll();
  reader_.append(std::string_view(bytes.constData(), static_cast<size_t>(bytes.size())));
  while (auto message = reader_.next()) deliver(std::move(*message));
  if (reader_.failed()) lose("sway's IPC socket sent something that is not an IPC message");
}

void SwayIpc::deliver(sway::Message message) {
  if (message.isEvent()) {
    if (onEvent) onEvent(message);
    return;
  }
  if (pending_.empty()) return;  // an answer nobody asked for
  Pending pending = std::move(pending_.front());
  pending_.pop_front();
  armDeadline();
  if (pending.onReply) pending.onReply(std::move(message.payload));
}

void SwayIpc::armDeadline() {
  deadlineTimer_.stop();
  if (pending_.empty()) return;
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(pending_.front().deadline -
                                                                          std::chrono::steady_clock::now());
  deadlineTimer_.start(std::max<int>(0, static_cast<int>(left.count())));
}

void SwayIpc::lose(const std::string& why) {
  if (lost_) return;
  lost_ = true;
  error_ = why;
  deadlineTimer_.stop();
  socket_.abort();
  auto pending = std::move(pending_);
  pending_.clear();
  for (auto& each : pending) {
    if (each.onReply) each.onReply(std::nullopt);
  }
  if (onLost) onLost();
}

}  // namespace pellum
