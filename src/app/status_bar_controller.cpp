#include "app/status_bar_controller.h"

#include <QCoreApplication>
#include <QPointer>
#include <QTimer>
#include <algorithm>
#include <cstdio>

#include "audio/dictation_format.h"
#include "base/log_line.h"
#include "base/threads.h"
#include "settings/preferences.h"
#include "transcription/dictation_policy.h"

namespace pellum {

StatusBarController::StatusBarController(DictationParts parts)
    : parts_(std::move(parts)), gesture_(false, parts_.dictationCap), menu_(menuParts()) {
  if (!parts_.notchOverlay) parts_.notchOverlay = std::make_unique<NoOverlay>();
  QPointer<StatusBarController> weak(this);
  if (parts_.hotkeyManager) {
    parts_.hotkeyManager->setCallbacks(
        [weak] {
          if (weak) weak->handleKeyDown();
        },
        [weak] {
          if (weak) weak->handleKeyUp();
        });
    parts_.hotkeyManager->setCancelCallback([weak] {
      if (weak) weak->cancelDictation();
    });
  }
  capTimer_.setSingleShot(true);
  connect(&capTimer_, &QTimer::timeout, this, &StatusBarController::checkDictationCap);
  buildMenu();
  if (parts_.onboardingPopover && !(parts_.isSignedIn && parts_.isSignedIn())) {
    QTimer::singleShot(0, this, [this] {
      parts_.onboardingPopover->showSignInPrompt(parts_.statusIcon ? parts_.statusIcon->anchor() : QRect(),
                                                 [this] {
                                                   if (parts_.signIn) parts_.signIn();
                                                 });
    });
  }
}

void StatusBarController::handleSignInChange() {
  QPointer<StatusBarController> weak(this);
  postToMainThread(weak, [](StatusBarController& controller) { controller.buildMenu(); });
  if (!parts_.onboardingPopover || !(parts_.isSignedIn && parts_.isSignedIn())) return;
  const auto key = parts_.hotkeyManager ? parts_.hotkeyManager->key() : std::nullopt;
  parts_.onboardingPopover->showKeyHint(parts_.statusIcon ? parts_.statusIcon->anchor() : QRect(),
                                        QString::fromStdString(key ? key->capName : std::string("fn")));
}

StatusBarController::~StatusBarController() {
  if (isRecording_ && parts_.audioRecorder) parts_.audioRecorder->stop();
  setStreamingSession(nullptr);
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

DictationKeyGesture::Clock::time_point StatusBarController::now() const {
  return parts_.clock ? parts_.clock() : DictationKeyGesture::Clock::now();
}

void StatusBarController::handleKeyDown() {
  if (!gesture_.isDictating()) gesture_.setHoldOrTap(Preferences::holdOrTap());
  switch (gesture_.keyDown(now())) {
    case DictationKeyGesture::Action::start:
      handlePress();
      if (!isRecording_) {
        // Signed out, or no microphone: there is no dictation to end.
        gesture_.cancel();
        return;
      }
      capTimer_.start(std::chrono::duration_cast<std::chrono::milliseconds>(parts_.dictationCap));
      return;
    case DictationKeyGesture::Action::finish:
      return handleRelease();
    case DictationKeyGesture::Action::none:
      return;
  }
}

void StatusBarController::handleKeyUp() {
  if (gesture_.keyUp(now()) == DictationKeyGesture::Action::finish) handleRelease();
}

void StatusBarController::checkDictationCap() {
  if (gesture_.checkCap(now()) != DictationKeyGesture::Action::finish) return;
  const auto minutes = std::chrono::duration_cast<std::chrono::minutes>(parts_.dictationCap).count();
  logLine("Pellum: dictation reached its " + std::to_string(minutes) + "-minute limit");
  handleRelease();
}

void StatusBarController::cancelDictation() {
  if (!dictationLive_) return;
  *dictationLive_ = false;
  dictationLive_.reset();
  gesture_.cancel();
  capTimer_.stop();
  if (isRecording_) {
    isRecording_ = false;
    parts_.audioRecorder->stop();  // the recording is dropped
  }
  std::shared_ptr<StreamingSession> session;
  {
    std::lock_guard guard(sessionLock_);
    session = streamingSession_;
  }
  // The server is told the audio has ended; whatever it answers is dropped.
  if (session) session->stop();
  setStreamingSession(nullptr);
  pendingStreamingResult_.reset();
  awaitingStreamingResult_ = false;
  pendingFallback_.reset();
  logLine("Pellum: dictation cancelled");
  recordOutcome(DictationOutcome::cancelled, {});
  finishWithoutText(std::nullopt);
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
  dictationLive_ = std::make_shared<bool>(true);

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
    dictationLive_.reset();
    parts_.notchOverlay->hide();
    resetStatusIcon();
    return;
  }
  parts_.notchOverlay->showRecording();
  if (parts_.hotkeyManager) parts_.hotkeyManager->setCancelKeyArmed(true);

  const TranscriptionMode mode = Preferences::currentMode();
  const std::string language = requestLanguage();
  const auto translateTo = Preferences::translationTarget();
  entry_ = DictationEntry{};
  entry_.startedAt = std::chrono::duration_cast<std::chrono::milliseconds>(
                         std::chrono::system_clock::now().time_since_epoch())
                         .count();
  entry_.mode = mode;
  entry_.language = language;
  entryStart_ = now();
  setStreamingSession(parts_.transcriptionClient->startStreaming(
      mode, language, translateTo, kDictationSampleRate,
      [weak, mode, live = dictationLive_](StreamingResult result) {
        postToMainThread(weak, [result = std::move(result), mode, live](StatusBarController& controller) {
          if (*live) controller.handleStreamingResult(result, mode);
        });
      }));
}

void StatusBarController::handleRelease() {
  if (!isRecording_) return;
  isRecording_ = false;
  capTimer_.stop();
  setStatusIcon(StatusIcon::Symbol::waveform, StatusIcon::Tint::orange);
  parts_.notchOverlay->showProcessing();
  // The recorder hands its last partial chunk to the session during stop.
  pendingFallback_ = parts_.audioRecorder->stop();
  entry_.durationMs = std::chrono::duration_cast<std::chrono::milliseconds>(now() - entryStart_).count();
  entry_.recording = *pendingFallback_;  // kept by the history only if the dictation fails
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
  const AfterStream step = afterStream(result);
  if (!step.logLine.empty()) logLine(step.logLine);
  switch (step.next) {
    case AfterStream::Next::insertText:
      pendingFallback_.reset();
      return insertText(result.text());
    case AfterStream::Next::uploadRecording:
      return startFallback(mode);
    case AfterStream::Next::finishWithoutText:
      pendingFallback_.reset();
      if (result.error().kind() == StreamingError::Kind::noSpeech) return finishWithoutText(std::nullopt);
      return finishWithoutText(result.error().description());
  }
}

void StatusBarController::startFallback(TranscriptionMode mode) {
  if (!pendingFallback_) return finishWithoutText("Nothing was recorded to upload");
  std::string recording = std::move(*pendingFallback_);
  pendingFallback_.reset();
  QPointer<StatusBarController> weak(this);
  // The overlay stays in its processing look and the icon orange meanwhile.
  parts_.transcriptionClient->transcribe(
      std::move(recording), "audio/wav", mode, [weak, live = dictationLive_](UploadResult result) {
        postToMainThread(weak, [result = std::move(result), live](StatusBarController& controller) {
          if (!live || *live) controller.handleFallbackResult(result);
        });
      });
}

void StatusBarController::handleFallbackResult(const UploadResult& result) {
  if (result.ok()) return insertText(result.text());
  logLine(fallbackFailedLine(result.error()));
  finishWithoutText(result.error().description());
}

void StatusBarController::retryRecording(std::int64_t id) {
  Q_ASSERT(isMainThread());
  if (isRecording_ || awaitingStreamingResult_ || pendingFallback_ || retrying_)
    return tell("A dictation is under way; retry once it has ended");
  const auto entry = parts_.history ? parts_.history->find(id) : std::nullopt;
  if (!entry || entry->recording.empty()) return tell("That dictation's recording is no longer kept");
  retrying_ = true;
  logLine("Pellum: retrying dictation " + std::to_string(id));
  setStatusIcon(StatusIcon::Symbol::waveform, StatusIcon::Tint::orange);
  QPointer<StatusBarController> weak(this);
  parts_.transcriptionClient->transcribe(
      entry->recording, "audio/wav", entry->mode,
      [weak, id](UploadResult result) {
        postToMainThread(weak, [id, result = std::move(result)](StatusBarController& controller) {
          controller.handleRetryResult(id, result);
        });
      },
      [weak, id] {
        postToMainThread(weak, [id](StatusBarController& controller) {
          controller.handleRetryResult(id, UploadResult::failure(replyEndedWithoutText()));
        });
      });
}

void StatusBarController::handleRetryResult(std::int64_t id, const UploadResult& result) {
  if (!retrying_) return;  // answered once already
  retrying_ = false;
  resetStatusIcon();
  if (!result.ok()) {
    // The recording stays kept: the user may retry again later.
    return tell("The retry failed: " + result.error().description());
  }
  parts_.textInserter->insert(result.text());
  if (parts_.history) {
    if (const auto error = parts_.history->recordRetry(id, result.text()))
      logLine("Pellum: the history could not keep the retry: " + error->description);
  }
  logLine("Pellum: dictation " + std::to_string(id) + " retried");
  playSound(FeedbackSounds::Sound::purr);
  buildMenu();
}

void StatusBarController::pasteText(const std::string& text) { parts_.textInserter->insert(text); }

void StatusBarController::insertText(const std::string& text) {
  parts_.notchOverlay->hide();
  parts_.textInserter->insert(text);
  recordOutcome(DictationOutcome::inserted, text);
  resetStatusIcon();
  playSound(FeedbackSounds::Sound::purr);
  endOfDictation();
}

void StatusBarController::finishWithoutText(std::optional<std::string> failure) {
  if (failure) recordOutcome(DictationOutcome::failed, *failure);
  parts_.notchOverlay->hide();
  resetStatusIcon();
  endOfDictation();
}

void StatusBarController::recordOutcome(DictationOutcome outcome, const std::string& detail) {
  // Kept once per dictation; an earlier dictation's late result that
  // arrives while the next one records would take the new one's entry.
  if (isRecording_ || entry_.startedAt == 0) return;
  DictationEntry entry = std::exchange(entry_, DictationEntry{});
  entry.outcome = outcome;
  if (outcome == DictationOutcome::inserted) entry.text = detail;
  if (outcome == DictationOutcome::failed) entry.failure = detail;
  if (!parts_.recordDictation || !Preferences::keepHistory()) return;
  parts_.recordDictation(entry);
  buildMenu();  // for "Paste Last Transcript" and "Retry Last Recording"
}

void StatusBarController::endOfDictation() {
  // A result of an earlier dictation can arrive while the next one records.
  if (isRecording_) return;
  dictationLive_.reset();
  if (parts_.hotkeyManager) parts_.hotkeyManager->setCancelKeyArmed(false);
}

void StatusBarController::tell(const std::string& message) {
  logLine("Pellum: " + message);
  if (parts_.statusIcon) parts_.statusIcon->showMessage(message);
}

void StatusBarController::setStatusIcon(StatusIcon::Symbol symbol, StatusIcon::Tint tint) {
  QPointer<StatusBarController> weak(this);
  postToMainThread(weak, [symbol, tint](StatusBarController& controller) {
    if (controller.parts_.statusIcon) controller.parts_.statusIcon->setSymbol(symbol, tint);
  });
}

void StatusBarController::resetStatusIcon() {
  QPointer<StatusBarController> weak(this);
  postToMainThread(weak, [](StatusBarController& controller) {
    if (controller.parts_.statusIcon) controller.parts_.statusIcon->reset();
  });
}

void StatusBarController::playSound(FeedbackSounds::Sound sound) {
  if (Preferences::soundsOff()) return;
  QPointer<StatusBarController> weak(this);
  postToMainThread(weak, [sound](StatusBarController& controller) {
    if (controller.parts_.sounds) controller.parts_.sounds->play(sound);
  });
}

StatusMenuParts StatusBarController::menuParts() {
  StatusMenuParts menu;
  menu.statusIcon = parts_.statusIcon.get();
  menu.hotkeyManager = parts_.hotkeyManager.get();
  if (TextInserter* inserter = parts_.textInserter.get()) {
    menu.pasteLimit = [inserter] { return inserter->unavailableReason(); };
  }
  menu.languagePicker = std::move(parts_.languagePicker);
  menu.isSignedIn = parts_.isSignedIn;
  menu.signIn = parts_.signIn;
  menu.signOut = parts_.signOut;
  menu.webBaseURL = parts_.webBaseURL;
  menu.tell = [this](const std::string& message) { tell(message); };
  menu.history = parts_.history;
  menu.pasteText = [this](const std::string& text) { pasteText(text); };
  menu.retryRecording = [this](std::int64_t id) { retryRecording(id); };
  menu.checkForUpdates = parts_.checkForUpdates;
  return menu;
}

}  // namespace pellum
