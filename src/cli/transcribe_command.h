#pragma once

#include <QObject>
#include <QStringList>
#include <QTimer>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "audio/dictation_speech_gate.h"
#include "transcription/transcription_client.h"

namespace pellum {

// `pellum transcribe FILE.wav`: the desktop's transcription path from the
// command line. Streams the file live (falling back to one upload exactly as
// the desktop does when the provider fails), or uploads it with --batch, and
// prints the text.
//
// Runs on the main thread inside the application's event loop; `run`
// returns the process exit status.
class TranscribeCommand : public QObject {
 public:
  enum Exit { kSuccess = 0, kFailed = 1, kUsage = 2 };

  explicit TranscribeCommand(QStringList arguments);
  int run();

 private:
  struct Options {
    QString file;
    bool realtime = false;
    bool batch = false;
    TranscriptionMode mode = TranscriptionMode::clean;
    std::string language;
    std::optional<std::string> translateTo;
  };

  bool parse(Options& options);
  bool loadAudio(const QString& path);
  void startStreaming();
  void sendNextChunk();
  void feedNextChunk();
  void finishAudio();
  void onStreamingResult(const StreamingResult& result);
  void upload(bool fallback);
  void onUploadResult(const UploadResult& result, bool fallback);
  void onUploadEnded();
  void succeed(const std::string& text);
  void fail(const std::string& message);

  QStringList arguments_;
  Options options_;
  std::string pcm_;
  std::deque<std::string> chunks_;
  std::string remainder_;
  DictationSpeechGate speech_;
  std::unique_ptr<TranscriptionClient> client_;
  std::shared_ptr<StreamingSession> session_;
  QTimer pacer_;
  bool done_ = false;
  int exitCode_ = kFailed;
};

}  // namespace pellum
