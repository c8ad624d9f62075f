#pragma once

#include <QByteArray>
#include <QUrl>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/threads.h"
#include "transcription/live_transcript.h"

class QThread;
class QTimer;
class QWebSocket;
class QObject;

namespace pellum {

// How long a live session waits on the server before it gives up with
// gladiaFailed, which makes the dictation fall back to the upload. Both
// apply to every session; tests shorten them.
struct LiveDeadlines {
  // From opening to the accepted upgrade (TCP, TLS and the HTTP answer): a
  // healthy server answers in well under a second, and a user holding the
  // key should not wait longer than this to learn the live route is down.
  static constexpr std::chrono::milliseconds kHandshake{10000};
  // From stop to the result. Generous, because the server may still be
  // cleaning a long dictation up after the last audio arrived.
  static constexpr std::chrono::milliseconds kAfterStop{20000};

  std::chrono::milliseconds handshake = kHandshake;
  std::chrono::milliseconds afterStop = kAfterStop;
};

// The longest message (and frame) a live session accepts. A real message is
// one JSON object of a few hundred bytes; anything near this is a server
// gone wrong, and Qt would otherwise buffer it whole.
inline constexpr std::size_t kMaxLiveMessageBytes = 1024 * 1024;

// One dictation carried live to the transcription server over a WebSocket:
// binary audio messages out, one {"type":"stop"} when the key is released,
// JSON text messages back, and exactly one result.
//
// Threads: the socket, its callbacks and the raw-finish timer live on the
// session's own thread, named "pellum.streaming-session". sendAudio and stop
// may be called from any thread (the recorder's and the main thread). The
// completion runs on the session's thread; callers hop to their own.
// `lock_` guards the flags and the hand-over of the completion.
//
// Every wait has a deadline (LiveDeadlines): the handshake, and the result
// after stop. A message over kMaxLiveMessageBytes fails the session.
//
// A started session keeps itself alive until it has delivered its result:
// an owner that lets go of it early (a new dictation replacing it) still
// gets the result of the audio it sent.
//
// Create sessions through TranscriptionClient::startStreaming.
class StreamingSession : public std::enable_shared_from_this<StreamingSession> {
 public:
  using Completion = std::function<void(StreamingResult)>;

  // Opens the connection at once. The token travels only in the
  // Authorization header.
  static std::shared_ptr<StreamingSession> start(const QUrl& url, const std::string& token,
                                                 TranscriptionMode mode, bool translating,
                                                 LiveDeadlines deadlines, Completion completion);
  ~StreamingSession();
  StreamingSession(const StreamingSession&) = delete;
  StreamingSession& operator=(const StreamingSession&) = delete;

  // Sends one chunk as a binary message, unchanged. Dropped after stop or
  // completion; queued (in order) until the connection is ready.
  void sendAudio(const std::string& chunk);

  // Sends {"type":"stop"} once; later calls do nothing. Does not close the
  // connection and does not look at whether the session has finished.
  void stop();

  bool isFinished() const;

  // How long the session waits after the last "raw" message following stop
  // before it finishes with that text (raw mode without translation only).
  static constexpr int kRawFinishMilliseconds = 250;

 private:
  struct Private;
  StreamingSession(TranscriptionMode mode, bool translating, LiveDeadlines deadlines, Completion completion);

  void open(const QUrl& url, const QByteArray& authorization);
  void post(QByteArray payload, bool binary);

  // On the session thread.
  void onConnected();
  void onSocketError();
  void onDisconnected();
  void onClosing();
  void onHandshakeDeadline();
  void onAfterStopDeadline();
  void startAfterStopDeadline();
  bool closedForOversize() const;
  std::string closeReason() const;
  void handleMessage(const QByteArray& payload);
  void handleClose(const std::string& reason);
  void scheduleRawFinish();
  void onRawFinishTimer();
  void complete(StreamingResult result);

  mutable std::mutex lock_;
  bool finished_ = false;
  bool didStop_ = false;
  Completion completion_;
  std::shared_ptr<StreamingSession> keepAlive_;  // until the result is delivered

  // Session thread only.
  LiveTranscript transcript_;
  LiveDeadlines deadlines_;
  bool connected_ = false;
  std::vector<std::pair<QByteArray, bool>> unsent_;  // (payload, binary) before the connection is ready

  // Children of the worker's context, made and deleted on its thread.
  QWebSocket* socket_ = nullptr;
  QTimer* rawFinishTimer_ = nullptr;
  QTimer* handshakeTimer_ = nullptr;
  QTimer* afterStopTimer_ = nullptr;

  // Last, so that it goes first: its thread stops before the state above.
  WorkerThread worker_{QStringLiteral("pellum.streaming-session")};
};

}  // namespace pellum
