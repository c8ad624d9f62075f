#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/threads.h"
#include "transcription/streaming_session.h"
#include "transcription/upload_reply.h"

class QThread;
class QObject;

namespace pellum {

// The client of the transcription server: opens live streaming sessions and
// sends whole recordings to the upload route, whose event-stream reply is
// parsed as it arrives.
//
// Threads: any thread may call startStreaming and transcribe; both return at
// once. Upload completions run on the client's upload thread
// ("pellum.upload"), never on the main thread; callers hop themselves. The
// two immediate failures (bad URL, no token) run on the calling thread.
class TranscriptionClient {
 public:
  // The signed-in device token, or nothing when signed out.
  using TokenSource = std::function<std::optional<std::string>()>;
  // The "language" value of an upload, computed at request time.
  using LanguageSource = std::function<std::string()>;
  using UploadCompletion = std::function<void(UploadResult)>;

  // `serverURL` is fixed for the client's life (see resolveServerURL).
  TranscriptionClient(std::string serverURL, TokenSource token, LanguageSource language);
  ~TranscriptionClient();
  TranscriptionClient(const TranscriptionClient&) = delete;
  TranscriptionClient& operator=(const TranscriptionClient&) = delete;

  const std::string& serverURL() const { return serverURL_; }

  // Opens a live session, or calls `completion` at once with notSignedIn or
  // invalidURL and returns nothing. `sampleRate` is rounded to whole hertz.
  std::shared_ptr<StreamingSession> startStreaming(TranscriptionMode mode, const std::string& language,
                                                   const std::optional<std::string>& translateTo,
                                                   double sampleRate,
                                                   StreamingSession::Completion completion);

  // Uploads one recording as a multipart form. `completion` runs at most
  // once: with the text on "done", serverError on "error" or on a redirect
  // (never followed: it would carry the token elsewhere), unauthorized on a
  // 401 (the request is then cancelled), a time-out past the reply's
  // deadline, or the transport's error. A reply
  // that ends without "done" or "error" calls nothing. `onEnded`, when given,
  // runs after the request is over, whatever happened (for callers that must
  // not wait forever).
  void transcribe(std::string audio, std::string contentType, TranscriptionMode mode,
                  UploadCompletion completion, std::function<void()> onEnded = {});

  // How long an upload may stay idle (no bytes either way) before it fails
  // with a time-out. 60 s unless changed.
  void setUploadIdleTimeout(std::chrono::milliseconds timeout) { uploadIdleTimeout_ = timeout; }

  // How long the reply may take, counted from the moment the recording has
  // been sent: a server that keeps the connection busy with a trickle of
  // events never trips the idle time-out, so this bounds the whole answer.
  // Two minutes is far beyond any real transcription of one dictation.
  static constexpr std::chrono::milliseconds kUploadReplyDeadline{120000};
  void setUploadReplyDeadline(std::chrono::milliseconds deadline) { uploadReplyDeadline_ = deadline; }

  // The deadlines of the live sessions started from now on.
  void setLiveDeadlines(LiveDeadlines deadlines) { liveDeadlines_ = deadlines; }

 private:
  std::string serverURL_;
  TokenSource token_;
  LanguageSource language_;
  std::chrono::milliseconds uploadIdleTimeout_{60000};
  std::chrono::milliseconds uploadReplyDeadline_ = kUploadReplyDeadline;
  LiveDeadlines liveDeadlines_;
  // Owns the network access manager (a child of its context). Last, so that
  // its thread stops before the state above goes.
  WorkerThread uploadWorker_{QStringLiteral("pellum.upload")};
};

}  // namespace pellum
