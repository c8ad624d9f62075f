#pragma once

#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "app/status_icon.h"
#include "app/status_menu_controller.h"
#include "audio/audio_recorder.h"
#include "audio/feedback_sounds.h"
#include "history/dictation_entry.h"
#include "history/dictation_history.h"
#include "keyboard/dictation_key_gesture.h"
#include "keyboard/hotkey_manager.h"
#include "keyboard/text_inserter.h"
#include "transcription/transcription_client.h"
#include "ui/dictation_overlay.h"
#include "ui/language_picker_popover.h"
#include "ui/onboarding_popover.h"

namespace pellum {

// Everything a dictation needs, handed to the controller, which owns it for
// the life of the program.
struct DictationParts {
  std::unique_ptr<HotkeyManager> hotkeyManager;
  std::unique_ptr<AudioRecorder> audioRecorder;
  std::unique_ptr<TranscriptionClient> transcriptionClient;
  std::unique_ptr<TextInserter> textInserter;
  std::unique_ptr<DictationOverlay> notchOverlay;
  std::unique_ptr<StatusIcon> statusIcon;
  std::unique_ptr<FeedbackSounds> sounds;
  std::unique_ptr<LanguagePickerPopover> languagePicker;
  std::unique_ptr<OnboardingPopover> onboardingPopover;
  // Whether a device token is cached (signed in).
  std::function<bool()> isSignedIn;
  // The account's actions, for the menu.
  std::function<void()> signIn;
  std::function<void()> signOut;
  std::function<std::string()> webBaseURL;
  // The clock that times taps of the key and the dictation cap (steady
  // time when empty), and the cap itself.
  std::function<DictationKeyGesture::Clock::time_point()> clock;
  std::chrono::milliseconds dictationCap = DictationKeyGesture::kDefaultCap;
  // Keeps each dictation's outcome among the recent dictations: the text,
  // or why it failed with its recording, or that it was cancelled.
  // Nothing is kept when empty, nor while the "Keep History" preference is
  // off.
  std::function<void(const DictationEntry&)> recordDictation;
  // The store behind it, for the menu's recent dictations and retries;
  // none when it could not be opened.
  std::shared_ptr<DictationHistory> history;
  // "Check for Updates…"; empty (and no such row) without an update feed.
  std::function<void()> checkForUpdates;
};

// Runs one dictation from key press to inserted text: on press it starts the
// recorder and a live streaming session fed with every confirmed chunk; on
// release it stops the recorder, keeps the whole recording as WAV and tells
// the session the audio has ended. A text result is pasted; a provider
// failure sends the kept recording once to the upload route; any other
// failure ends with a log line. Failures are never shown in a dialog: the
// overlay goes and the icon returns to idle. The tray menu is the job of a
// StatusMenuController it owns (`menu()`), lent the hotkey manager and the
// icon.
//
// Threads: every handler and field is main-thread only, except
// `streamingSession_`, which the recorder's chunk callback reads on the
// capture thread under `sessionLock_`. Completions from the session and
// the upload are moved to the main thread; every closure holds the
// controller weakly.
class StatusBarController : public QObject {
 public:
  using StreamingOutcome = StreamingResult;

  explicit StatusBarController(DictationParts parts);
  ~StatusBarController() override;

  // Wired to the hotkey manager's callbacks: the key's presses and
  // releases, read as a hold or (when chosen) a tap, start and end
  // dictations through handlePress and handleRelease; Escape cancels.
  void handleKeyDown();
  void handleKeyUp();
  void cancelDictation();

  // The start and the end of one dictation.
  void handlePress();
  void handleRelease();

  // Ends a dictation that has run for the cap; run by a timer at the
  // deadline, and by tests after they move the clock.
  void checkDictationCap();

  // With the session's result, on the main thread.
  void handleStreamingResult(const StreamingResult& result, TranscriptionMode mode);
  // With the fallback upload's result, on the main thread.
  void handleFallbackResult(const UploadResult& result);

  // Sends the kept recording of dictation `id` to the upload route again
  // and pastes its text, which the history then keeps as the dictation's.
  // Only between dictations: during one the user is told to wait.
  void retryRecording(std::int64_t id);
  void handleRetryResult(std::int64_t id, const UploadResult& result);
  // Pastes `text` as a dictation's text is pasted.
  void pasteText(const std::string& text);
  bool isRetrying() const { return retrying_; }

  HotkeyManager& hotkeyManager() { return *parts_.hotkeyManager; }

  // The menu half: builds the tray menu from the preferences and the
  // sign-in state, and carries out a chosen row (each writes one preference
  // and rebuilds the whole menu). `buildMenu` rebuilds it now.
  StatusMenuController& menu() { return menu_; }
  void buildMenu() { menu_.buildMenu(); }
  LanguagePickerPopover* languagePicker() { return menu_.languagePicker(); }
  OnboardingPopover* onboardingPopover() { return parts_.onboardingPopover.get(); }

  // The account's sign-in state changed: the menu is rebuilt, and after a
  // sign-in the key hint shows for 5 s.
  void handleSignInChange();

  // State, for tests and diagnostics.
  bool isRecording() const { return isRecording_; }
  bool awaitingStreamingResult() const { return awaitingStreamingResult_; }
  bool hasPendingStreamingResult() const { return pendingStreamingResult_.has_value(); }
  bool hasPendingFallback() const { return pendingFallback_.has_value(); }
  bool hasStreamingSession() const;

  static constexpr int kSignedOutIconMs = 1500;

 private:
  void handleOutcome(const StreamingResult& result, TranscriptionMode mode);
  void startFallback(TranscriptionMode mode);
  void insertText(const std::string& text);
  // Ends a dictation with no text; `failure` says why, for the recent
  // dictations (nothing: not worth keeping, as a dictation with no speech).
  void finishWithoutText(std::optional<std::string> failure);
  void recordOutcome(DictationOutcome outcome, const std::string& detail);
  void setStatusIcon(StatusIcon::Symbol symbol, StatusIcon::Tint tint);
  void resetStatusIcon();
  void playSound(FeedbackSounds::Sound sound);
  void setStreamingSession(std::shared_ptr<StreamingSession> session);
  void endOfDictation();
  void tell(const std::string& message);
  DictationKeyGesture::Clock::time_point now() const;
  // What the menu controller gets: the icon and the key lent, the account's
  // actions, `tell`, and the language picker handed over from `parts_`.
  StatusMenuParts menuParts();

  DictationParts parts_;
  bool isRecording_ = false;
  mutable std::mutex sessionLock_;
  std::shared_ptr<StreamingSession> streamingSession_;
  std::optional<StreamingResult> pendingStreamingResult_;
  bool awaitingStreamingResult_ = false;
  std::optional<std::string> pendingFallback_;
  bool retrying_ = false;
  DictationKeyGesture gesture_;
  QTimer capTimer_;
  // Shared with the current dictation's completions; false once it is
  // cancelled, so that its late results are dropped.
  std::shared_ptr<bool> dictationLive_;
  // The current dictation as the recent dictations will keep it, filled in
  // from press to outcome; its start time is zero once it is kept.
  DictationEntry entry_;
  DictationKeyGesture::Clock::time_point entryStart_{};
  // Last, so that it goes first: it borrows the icon and the key from
  // `parts_`.
  StatusMenuController menu_;
};

}  // namespace pellum
