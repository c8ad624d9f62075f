#include "app/status_bar_controller.h"

#include <QCoreApplication>
#include <QPointer>
#include <QTimer>
#include <algorithm>
#include <cstdio>

#include "app/preferences.h"

namespace pellum {
namespace {

constexpr double kSampleRate = 16000.0;

// Runs `work` on the main thread if `controller` still exists by then.
template <class Work>
void onMain(const QPointer<StatusBarController>& controller, Work work) {
  QMetaObject::invokeMethod(QCoreApplication::instance(), [controller, work = std::move(work)]() mutable {
    if (controller) work(*controller);
  }, Qt::QueuedConnection);
}

}  // namespace

StatusBarController::StatusBarController(DictationParts parts) : parts_(std::move(parts)) {
  if (!parts_.notchOverlay) parts_.notchOverlay = std::make_unique<NoOverlay>();
  QPointer<StatusBarController> weak(this);
  if (parts_.hotkeyManager) {
    parts_.hotkeyManager->setCallbacks([weak] { if (weak) weak->handlePress(); },
                                       [weak] { if (weak) weak->handleRelease(); });
  }
}

StatusBarController::~StatusBarController() {
  if (isRecording_ && parts_.audioRecorder) parts_.audioRecorder->stop();
  setStreamingSession(nullptr);
}

void StatusBarController::logLine(const std::string& line) {
  std::fprintf(stdout, "%s\n", line.c_str());
  std::fflush(stdout);
}

bool StatusBarController::hasStreamingSession() const {
  std::lock_guard guard(sessionLock_);
  return streamingSession_ != nullptr;
}

void StatusBarController::setStreamingSession(std::shared_ptr<StreamingSession> session) {
  std::shared_ptr<StreamingSession> previous;
  {
    std::lock_guard guard(sessionLock_);
    previous = std::exchange(streamingSession_, std::move(session));
  }
  // `previous` ends here, outside the lock: ending a session waits for its
  // thread.
}

void StatusBarController::handlePress() {
  if (isRecording_) return;
  const bool signedIn = parts_.isSignedIn && parts_.isSignedIn();
  if (!signedIn) {
    setStatusIcon(StatusIcon::Symbol::micSlash, StatusIcon::Tint::red);
    QTimer::singleShot(kSignedOutIconMs, this, [this] { resetStatusIcon(); });
    return;
  }
  isRecording_ = true;
  pendingStreamingResult_.reset();
  awaitingStreamingResult_ = false;
  pendingFallback_.reset();

  setStatusIcon(StatusIcon::Symbol::micFill, StatusIcon::Tint::red);
  playSound(FeedbackSounds::Sound::morse);

  QPointer<StatusBarController> weak(this);
  const bool started = parts_.audioRecorder->start(
      // On the capture thread: only the session pointer is read, under its
      // lock. The recorder is ours and stops before we go, so `this` cannot
      // dangle here (and a QPointer may not be read off the main thread).
      [this](const std::string& chunk) {
        std::shared_ptr<StreamingSession> session;
        {
          std::lock_guard guard(sessionLock_);
          session = streamingSession_;
        }
        if (session) session->sendAudio(chunk);
      },
      [weak](float level) {
        if (weak) weak->parts_.notchOverlay->setTargetLevel(std::min(level * 1.4f, 1.0f));
      });
  if (!started) {
    isRecording_ = false;
    parts_.notchOverlay->hide();
    resetStatusIcon();
    return;
  }
  parts_.notchOverlay->showRecording();

  const TranscriptionMode mode = Preferences::currentMode();
  const std::string language = requestLanguage();
  const auto translateTo = Preferences::translationTarget();
  setStreamingSession(parts_.transcriptionClient->startStreaming(
      mode, language, translateTo, kSampleRate, [weak, mode](StreamingResult result) {
        onMain(weak, [result = std::move(result), mode](StatusBarController& controller) {
          controller.handleStreamingResult(result, mode);
        });
      }));
}

void StatusBarController::handleRelease() {
  if (!isRecording_) return;
  isRecording_ = false;
  setStatusIcon(StatusIcon::Symbol::waveform, StatusIcon::Tint::orange);
  parts_.notchOverlay->showProcessing();
  // The recorder hands its last partial chunk to the session during stop.
  pendingFallback_ = parts_.audioRecorder->stop();
  std::shared_ptr<StreamingSession> session;
  {
    std::lock_guard guard(sessionLock_);
    session = streamingSession_;
  }
  if (session) session->stop();
  awaitingStreamingResult_ = true;
  if (pendingStreamingResult_) {
    const StreamingResult result = std::move(*pendingStreamingResult_);
    pendingStreamingResult_.reset();
    handleOutcome(result, Preferences::currentMode());
  }
}

void StatusBarController::handleStreamingResult(const StreamingResult& result, TranscriptionMode mode) {
  setStreamingSession(nullptr);
  if (!awaitingStreamingResult_) {
    // The stream ended before the release; the release handles it.
    pendingStreamingResult_ = result;
    return;
  }
  awaitingStreamingResult_ = false;
  handleOutcome(result, mode);
}

void StatusBarController::handleOutcome(const StreamingResult& result, TranscriptionMode mode) {
  if (result.ok()) {
    pendingFallback_.reset();
    insertText(result.text());
    return;
  }
  const StreamingError& error = result.error();
  if (error.kind() != StreamingError::Kind::gladiaFailed) {
    logLine("Streaming non-recoverable: " + error.description());
    pendingFallback_.reset();
    finishWithoutText();
    return;
  }
  logLine("Gladia failed (" + error.message() + ") \u2014 falling back to Groq");
  startFallback(mode);
}

void StatusBarController::startFallback(TranscriptionMode mode) {
  if (!pendingFallback_) return finishWithoutText();
  std::string recording = std::move(*pendingFallback_);
  pendingFallback_.reset();
  QPointer<StatusBarController> weak(this);
  // The overlay stays in its processing look and the icon orange meanwhile.
  parts_.transcriptionClient->transcribe(std::move(recording), "audio/wav", mode, [weak](UploadResult result) {
    onMain(weak, [result = std::move(result)](StatusBarController& controller) {
      controller.handleFallbackResult(result);
    });
  });
}

void StatusBarController::handleFallbackResult(const UploadResult& result) {
  if (result.ok()) return insertText(result.text());
  logLine("Groq fallback failed: " + result.error().description());
  finishWithoutText();
}

void StatusBarController::insertText(const std::string& text) {
  parts_.notchOverlay->hide();
  parts_.textInserter->insert(text);
  resetStatusIcon();
  playSound(FeedbackSounds::Sound::purr);
}

void StatusBarController::finishWithoutText() {
  parts_.notchOverlay->hide();
  resetStatusIcon();
}

void StatusBarController::setStatusIcon(StatusIcon::Symbol symbol, StatusIcon::Tint tint) {
  QPointer<StatusBarController> weak(this);
  onMain(weak, [symbol, tint](StatusBarController& controller) {
    if (controller.parts_.statusIcon) controller.parts_.statusIcon->setSymbol(symbol, tint);
  });
}

void StatusBarController::resetStatusIcon() {
  QPointer<StatusBarController> weak(this);
  onMain(weak, [](StatusBarController& controller) {
    if (controller.parts_.statusIcon) controller.parts_.statusIcon->reset();
  });
}

void StatusBarController::playSound(FeedbackSounds::Sound sound) {
  if (Preferences::soundsOff()) return;
  QPointer<StatusBarController> weak(this);
  onMain(weak, [sound](StatusBarController& controller) {
    if (controller.parts_.sounds) controller.parts_.sounds->play(sound);
  });
}

}  // namespace pellum
