// The dictation flow with recording fakes for what the user sees, a capture
// source the test feeds, and scripted peers for both transcription routes
// on one port (some replies are ones a real server would never send).
#include "app/status_bar_controller.h"

#include <gtest/gtest.h>

#include <QDateTime>
#include <QSettings>
#include <QTemporaryDir>
#include <cmath>
#include <cstring>

#include "audio/wav.h"
#include "history/dictation_history.h"
#include "settings/preferences.h"
#include "support/dictation_fakes.h"
#include "support/event_loop.h"
#include "support/fake_capture_source.h"
#include "support/fresh_preferences.h"
#include "support/scripted_http_peer.h"
#include "support/scripted_live_peer.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::spin;
using test::waitUntil;
using Strings = std::vector<std::string>;

std::string loudAudio(std::size_t bytes, double hz = 220) {
  std::string pcm(bytes, '\0');
  for (std::size_t i = 0; i + 1 < bytes; i += 2) {
    const double t = static_cast<double>(i / 2) / 16000.0;
    const auto sample =
        static_cast<std::int16_t>(9000 * std::sin(2 * M_PI * hz * t) +
                                  5000 * std::sin(2 * M_PI * 3 * hz * t) + ((i * 7919) % 4096) - 2048);
    std::memcpy(pcm.data() + i, &sample, 2);
  }
  return pcm;
}

class StatusBarControllerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    test::useFreshPreferences(config_.path());
    qunsetenv("DISPLAY");
    http_.setUpgradeHandler([this](QTcpSocket* socket) { live_.adopt(socket); });
    makeController();
  }

  void makeController(bool refuseCapture = false, std::chrono::milliseconds cap = std::chrono::minutes(5)) {
    auto source = std::make_unique<test::FakeCaptureSource>();
    source_ = source.get();
    if (refuseCapture) source_->refused = {""};
    DictationParts parts;
    auto hotkey = std::make_unique<test::ManualHotkeyManager>();
    hotkey_ = hotkey.get();
    parts.hotkeyManager = std::move(hotkey);
    parts.audioRecorder = std::make_unique<AudioRecorder>(std::move(source), [] { return std::nullopt; });
    parts.transcriptionClient = std::make_unique<TranscriptionClient>(
        http_.httpBase().toStdString(), [] { return std::optional<std::string>("tok"); },
        [] { return std::string("en"); });
    auto inserter = std::make_unique<test::RecordingTextInserter>();
    inserter_ = inserter.get();
    parts.textInserter = std::move(inserter);
    auto overlay = std::make_unique<test::RecordingOverlay>();
    overlay_ = overlay.get();
    parts.notchOverlay = std::move(overlay);
    auto icon = std::make_unique<test::RecordingStatusIcon>();
    icon_ = icon.get();
    parts.statusIcon = std::move(icon);
    auto sounds = std::make_unique<test::RecordingSounds>();
    sounds_ = sounds.get();
    parts.sounds = std::move(sounds);
    parts.isSignedIn = [this] { return signedIn_; };
    parts.clock = [this] { return now_; };
    parts.dictationCap = cap;
    parts.recordDictation = [this](const DictationEntry& entry) { kept_.push_back(entry); };
    parts.history = history_;
    controller_ = std::make_unique<StatusBarController>(std::move(parts));
  }

  void pressAndSpeak() {
    hotkey_->press();
    ASSERT_TRUE(waitUntil([&] { return controller_->isRecording(); }, 2s));
    ASSERT_TRUE(waitUntil([&] { return live_.hasClient(); }, 5s));
    source_->push(loudAudio(960 * 20));
  }

  void release() {
    hotkey_->release();
    ASSERT_TRUE(waitUntil([&] { return !controller_->isRecording(); }, 2s));
  }

  QByteArray uploadReply(const std::string& text) {
    return test::ScriptedHttpPeer::eventStreamHead() + "event: raw\ndata: \"" +
           QByteArray::fromStdString(text) + "\"\nevent: done\ndata: {}\n";
  }

  QTemporaryDir config_;
  test::ScriptedHttpPeer http_;
  test::ScriptedLivePeer live_;
  bool signedIn_ = true;
  // The controller's clock, moved by hand.
  DictationKeyGesture::Clock::time_point now_ = DictationKeyGesture::Clock::now();
  std::unique_ptr<StatusBarController> controller_;
  test::ManualHotkeyManager* hotkey_ = nullptr;
  test::FakeCaptureSource* source_ = nullptr;
  test::RecordingTextInserter* inserter_ = nullptr;
  test::RecordingOverlay* overlay_ = nullptr;
  test::RecordingStatusIcon* icon_ = nullptr;
  test::RecordingSounds* sounds_ = nullptr;
  // What the controller handed to the recent dictations.
  std::vector<DictationEntry> kept_;
  // The store the menu and retries read, when a test opens one.
  std::shared_ptr<DictationHistory> history_;
};

TEST_F(StatusBarControllerTest, PressWhileSignedOutShowsMicSlashForOneAndAHalfSeconds) {
  signedIn_ = false;
  hotkey_->press();
  ASSERT_TRUE(waitUntil([&] { return icon_->log.size() == 1; }, 1s));
  EXPECT_EQ(icon_->log, (Strings{"mic.slash red"}));
  spin(1200ms);
  EXPECT_EQ(icon_->log.size(), 1u);
  ASSERT_TRUE(waitUntil([&] { return icon_->log.size() == 2; }, 1s));
  EXPECT_EQ(icon_->log.back(), "idle");
  EXPECT_TRUE(sounds_->log.empty());
  EXPECT_TRUE(overlay_->log.empty());
  EXPECT_EQ(source_->starts, 0);
  EXPECT_FALSE(controller_->isRecording());
}

TEST_F(StatusBarControllerTest, SpeakAndReleaseInsertsTheStreamedText) {
  pressAndSpeak();
  EXPECT_EQ(sounds_->log, (Strings{"Morse"}));
  EXPECT_EQ(icon_->log, (Strings{"mic.fill red"}));
  EXPECT_EQ(overlay_->log, (Strings{"recording"}));
  EXPECT_EQ(live_.request().url().query(),
            QStringLiteral("provider=gladia&mode=clean&language=en&sample_rate=16000"));
  release();
  ASSERT_TRUE(waitUntil([&] { return live_.stopCount() == 1; }, 3s));
  EXPECT_GT(live_.binaryCount(), 10);
  live_.sendText(R"({"type":"chunk","text":"Hello there."})");
  live_.sendText(R"({"type":"done"})");
  ASSERT_TRUE(waitUntil([&] { return !inserter_->inserted.empty(); }, 3s));
  spin(50ms);
  EXPECT_EQ(inserter_->inserted, (Strings{"Hello there."}));
  EXPECT_EQ(sounds_->log, (Strings{"Morse", "Purr"}));
  EXPECT_EQ(icon_->log, (Strings{"mic.fill red", "waveform orange", "idle"}));
  EXPECT_EQ(overlay_->log, (Strings{"recording", "processing", "hidden"}));
  EXPECT_FALSE(controller_->hasPendingFallback());
  EXPECT_FALSE(controller_->hasStreamingSession());
  EXPECT_FALSE(overlay_->levels.empty());
  for (float level : overlay_->levels) EXPECT_LE(level, 1.0f);
}

TEST_F(StatusBarControllerTest, AnInsertedDictationIsKeptWithItsTextAndLength) {
  pressAndSpeak();
  now_ += 2400ms;
  release();
  ASSERT_TRUE(waitUntil([&] { return live_.stopCount() == 1; }, 3s));
  EXPECT_TRUE(kept_.empty());  // nothing until the outcome
  live_.sendText(R"({"type":"chunk","text":"Hello there."})");
  live_.sendText(R"({"type":"done"})");
  ASSERT_TRUE(waitUntil([&] { return !kept_.empty(); }, 3s));
  spin(50ms);
  ASSERT_EQ(kept_.size(), 1u);
  EXPECT_EQ(kept_[0].outcome, DictationOutcome::inserted);
  EXPECT_EQ(kept_[0].text, "Hello there.");
  EXPECT_EQ(kept_[0].failure, "");
  EXPECT_EQ(kept_[0].durationMs, 2400);
  EXPECT_EQ(kept_[0].mode, TranscriptionMode::clean);
  EXPECT_EQ(kept_[0].language, "en");
  EXPECT_GT(kept_[0].startedAt, 0);
  EXPECT_GT(kept_[0].recording.size(), 44u);  // the store drops it unless asked to keep it
}

TEST_F(StatusBarControllerTest, AFailedDictationIsKeptWithWhyAndItsRecording) {
  http_.setReply(
      {{test::ScriptedHttpPeer::eventStreamHead(500) + "event: error\ndata: engine crashed\n", 0, true}});
  pressAndSpeak();
  release();
  ASSERT_TRUE(waitUntil([&] { return live_.stopCount() == 1; }, 3s));
  live_.close();
  ASSERT_TRUE(waitUntil([&] { return !kept_.empty(); }, 5s));
  spin(50ms);
  ASSERT_EQ(kept_.size(), 1u);
  EXPECT_EQ(kept_[0].outcome, DictationOutcome::failed);
  EXPECT_EQ(kept_[0].failure, "Server error: engine crashed");
  EXPECT_EQ(kept_[0].text, "");
  EXPECT_EQ(kept_[0].recording.substr(0, 4), "RIFF");
  EXPECT_GT(kept_[0].recording.size(), 960u * 20);
}

TEST_F(StatusBarControllerTest, WithKeepHistoryOffNothingIsKept) {
  Preferences::setKeepHistory(false);
  pressAndSpeak();
  release();
  ASSERT_TRUE(waitUntil([&] { return live_.stopCount() == 1; }, 3s));
  live_.sendText(R"({"type":"chunk","text":"Not kept."})");
  live_.sendText(R"({"type":"done"})");
  ASSERT_TRUE(waitUntil([&] { return !inserter_->inserted.empty(); }, 3s));
  spin(50ms);
  EXPECT_TRUE(kept_.empty());
}

// A failed dictation's kept recording, sent again from the menu.
class StatusBarControllerRetryTest : public StatusBarControllerTest {
 protected:
  void SetUp() override {
    StatusBarControllerTest::SetUp();
    auto opened = DictationHistory::open(config_.filePath(QStringLiteral("history.sqlite3")).toStdString());
    ASSERT_TRUE(std::holds_alternative<std::unique_ptr<DictationHistory>>(opened));
    history_ = std::move(std::get<std::unique_ptr<DictationHistory>>(opened));
    makeController();
    DictationEntry failed;
    failed.startedAt = QDateTime::currentMSecsSinceEpoch();
    failed.outcome = DictationOutcome::failed;
    failed.failure = "Could not connect to the server.";
    failed.recording = wavData(loudAudio(960 * 20), 16000);
    failedId_ = std::get<std::int64_t>(history_->add(failed));
  }

  std::int64_t failedId_ = 0;
};

TEST_F(StatusBarControllerRetryTest, ARetryPastesTheTextAndTheEntryKeepsIt) {
  http_.setReply({{uploadReply("Said once more."), 0, true}});
  controller_->retryRecording(failedId_);
  EXPECT_TRUE(controller_->isRetrying());
  ASSERT_TRUE(waitUntil([&] { return !inserter_->inserted.empty(); }, 5s));
  EXPECT_EQ(inserter_->inserted, (Strings{"Said once more."}));
  EXPECT_EQ(http_.path(), "/transcribe");
  EXPECT_FALSE(controller_->isRetrying());
  const auto entry = history_->find(failedId_);
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->outcome, DictationOutcome::retried);
  EXPECT_EQ(entry->text, "Said once more.");
  EXPECT_TRUE(kept_.empty());  // the retry updates the entry; it is no new dictation
}

TEST_F(StatusBarControllerRetryTest, AFailedRetryKeepsTheRecordingForAnotherTry) {
  http_.setReply(
      {{test::ScriptedHttpPeer::eventStreamHead(500) + "event: error\ndata: still down\n", 0, true}});
  controller_->retryRecording(failedId_);
  ASSERT_TRUE(waitUntil([&] { return !controller_->isRetrying(); }, 5s));
  EXPECT_TRUE(inserter_->inserted.empty());
  const auto entry = history_->find(failedId_);
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->outcome, DictationOutcome::failed);
  EXPECT_TRUE(entry->hasRecording);
}

TEST_F(StatusBarControllerRetryTest, NoRetryWhileADictationIsUnderWay) {
  pressAndSpeak();
  controller_->retryRecording(failedId_);
  EXPECT_FALSE(controller_->isRetrying());
  EXPECT_FALSE(http_.requestComplete());
}

TEST_F(StatusBarControllerTest, ACancelledDictationIsKeptOnceAndItsLateResultIsNot) {
  pressAndSpeak();
  hotkey_->escape();
  ASSERT_TRUE(waitUntil([&] { return !kept_.empty(); }, 2s));
  EXPECT_EQ(kept_[0].outcome, DictationOutcome::cancelled);
  ASSERT_TRUE(waitUntil([&] { return live_.stopCount() == 1; }, 3s));
  live_.sendText(R"({"type":"chunk","text":"never pasted"})");
  live_.sendText(R"({"type":"done"})");
  spin(300ms);
  EXPECT_EQ(kept_.size(), 1u);
}

TEST_F(StatusBarControllerTest, SecondPressWithoutReleaseIsIgnored) {
  pressAndSpeak();
  controller_->handlePress();
  spin(100ms);
  EXPECT_EQ(source_->starts, 1);
  EXPECT_EQ(sounds_->log, (Strings{"Morse"}));
}

TEST_F(StatusBarControllerTest, ReleaseWithoutPressIsIgnored) {
  controller_->handleRelease();
  spin(100ms);
  EXPECT_TRUE(icon_->log.empty());
  EXPECT_TRUE(overlay_->log.empty());
  pressAndSpeak();
  release();
  controller_->handleRelease();
  spin(100ms);
  EXPECT_EQ(overlay_->log, (Strings{"recording", "processing"}));
}

TEST_F(StatusBarControllerTest, ProviderFailureBeforeReleaseUploadsTheWholeRecordingAtRelease) {
  http_.setReply({{uploadReply("from the upload"), 0, true}});
  pressAndSpeak();
  live_.sendText(R"({"type":"error","error":"provider down"})");
  ASSERT_TRUE(waitUntil([&] { return controller_->hasPendingStreamingResult(); }, 3s));
  EXPECT_FALSE(controller_->hasStreamingSession());
  const int streamedBefore = live_.binaryCount();
  source_->push(loudAudio(960 * 10, 330));  // spoken after the failure
  spin(100ms);
  EXPECT_EQ(live_.binaryCount(), streamedBefore);
  testing::internal::CaptureStdout();
  release();
  ASSERT_TRUE(waitUntil([&] { return !inserter_->inserted.empty(); }, 5s));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Gladia failed (provider down) \xE2\x80\x94 falling back to Groq\n");
  EXPECT_EQ(inserter_->inserted, (Strings{"from the upload"}));
  const std::string wav = wavData(loudAudio(960 * 20) + loudAudio(960 * 10, 330), 16000);
  EXPECT_TRUE(http_.body().contains(QByteArray::fromStdString(wav)));
  EXPECT_TRUE(controller_->awaitingStreamingResult());  // a kept result handled at release leaves it set
}

TEST_F(StatusBarControllerTest, PressWhileWaitingForTheStreamDropsTheNewSessionWhenTheOldOneEnds) {
  pressAndSpeak();
  release();
  ASSERT_TRUE(waitUntil([&] { return live_.stopCount() == 1; }, 3s));
  QPointer<QWebSocket> firstClient = live_.client();
  // A new dictation starts before the first stream answers.
  hotkey_->press();
  ASSERT_TRUE(waitUntil([&] { return controller_->isRecording() && live_.client() != firstClient; }, 5s));
  EXPECT_FALSE(controller_->awaitingStreamingResult());
  // The first stream now finishes: its result empties the session slot and
  // is kept for the next release.
  firstClient->sendTextMessage(QStringLiteral(R"({"type":"chunk","text":"first"})"));
  firstClient->sendTextMessage(QStringLiteral(R"({"type":"done"})"));
  ASSERT_TRUE(waitUntil([&] { return controller_->hasPendingStreamingResult(); }, 3s));
  EXPECT_FALSE(controller_->hasStreamingSession());
  EXPECT_TRUE(inserter_->inserted.empty());
  release();
  ASSERT_TRUE(waitUntil([&] { return !inserter_->inserted.empty(); }, 3s));
  EXPECT_EQ(inserter_->inserted, (Strings{"first"}));
}

TEST_F(StatusBarControllerTest, EmptySuccessIsInsertedWithPurr) {
  pressAndSpeak();
  release();
  ASSERT_TRUE(waitUntil([&] { return live_.stopCount() == 1; }, 3s));
  live_.sendText(R"({"type":"done"})");
  ASSERT_TRUE(waitUntil([&] { return !inserter_->inserted.empty(); }, 3s));
  spin(50ms);
  EXPECT_EQ(inserter_->inserted, (Strings{""}));
  EXPECT_EQ(sounds_->log, (Strings{"Morse", "Purr"}));
}

TEST_F(StatusBarControllerTest, SoundsOffPlaysNothing) {
  Preferences::setSoundsOff(true);
  pressAndSpeak();
  release();
  ASSERT_TRUE(waitUntil([&] { return live_.stopCount() == 1; }, 3s));
  live_.sendText(R"({"type":"chunk","text":"quiet"})");
  live_.sendText(R"({"type":"done"})");
  ASSERT_TRUE(waitUntil([&] { return !inserter_->inserted.empty(); }, 3s));
  spin(50ms);
  EXPECT_TRUE(sounds_->log.empty());
  EXPECT_EQ(icon_->log, (Strings{"mic.fill red", "waveform orange", "idle"}));
}

TEST_F(StatusBarControllerTest, NoSpeechEndsWithALogLineAndNoUpload) {
  pressAndSpeak();
  release();
  ASSERT_TRUE(waitUntil([&] { return live_.stopCount() == 1; }, 3s));
  testing::internal::CaptureStdout();
  live_.sendText(R"({"type":"error","error":"no speech detected"})");
  ASSERT_TRUE(waitUntil([&] { return overlay_->log.back() == "hidden"; }, 3s));
  spin(50ms);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Streaming non-recoverable: No speech detected\n");
  EXPECT_FALSE(http_.requestComplete());
  EXPECT_TRUE(inserter_->inserted.empty());
  EXPECT_EQ(icon_->log.back(), "idle");
  EXPECT_FALSE(controller_->hasPendingFallback());
}

TEST_F(StatusBarControllerTest, FailedFallbackEndsWithALogLine) {
  http_.setReply(
      {{test::ScriptedHttpPeer::eventStreamHead(500) + "event: error\ndata: engine crashed\n", 0, true}});
  pressAndSpeak();
  release();
  ASSERT_TRUE(waitUntil([&] { return live_.stopCount() == 1; }, 3s));
  testing::internal::CaptureStdout();
  live_.close();
  ASSERT_TRUE(waitUntil([&] { return !overlay_->log.empty() && overlay_->log.back() == "hidden"; }, 5s));
  spin(50ms);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Gladia failed (server sent close opcode) \xE2\x80\x94 falling back to Groq\n"
            "Groq fallback failed: Server error: engine crashed\n");
  EXPECT_TRUE(inserter_->inserted.empty());
  EXPECT_EQ(icon_->log.back(), "idle");
  EXPECT_EQ(sounds_->log, (Strings{"Morse"}));
}

TEST_F(StatusBarControllerTest, RecorderThatCannotStartLeavesEverythingIdle) {
  makeController(/*refuseCapture=*/true);
  testing::internal::CaptureStdout();
  hotkey_->press();
  ASSERT_TRUE(waitUntil([&] { return icon_->log.size() >= 2; }, 2s));
  testing::internal::GetCapturedStdout();
  EXPECT_FALSE(controller_->isRecording());
  EXPECT_EQ(overlay_->log, (Strings{"hidden"}));
  EXPECT_EQ(icon_->log, (Strings{"mic.fill red", "idle"}));
  spin(200ms);
  EXPECT_FALSE(live_.hasClient());
}

}  // namespace
}  // namespace pellum

namespace pellum {
namespace {

std::vector<std::string> menuTitles(const std::vector<MenuItem>& items) {
  std::vector<std::string> out;
  for (const auto& item : items) out.push_back(item.kind == MenuItem::Kind::separator ? "---" : item.title);
  return out;
}

const MenuItem* findItem(const std::vector<MenuItem>& items, const std::string& title) {
  for (const auto& item : items) {
    if (item.title == title) return &item;
    if (const auto* found = findItem(item.children, title)) return found;
  }
  return nullptr;
}

TEST_F(StatusBarControllerTest, MenuIsBuiltAtStartWithTheKeyNamed) {
  EXPECT_EQ(icon_->menuBuilds, 1);
  ASSERT_FALSE(icon_->menu.empty());
  EXPECT_EQ(icon_->menu.front().title, "Hold Right Ctrl to dictate");
  EXPECT_EQ(menuTitles(icon_->menu).back(), "Quit Pellum");
}

TEST_F(StatusBarControllerTest, SignedOutMenu) {
  signedIn_ = false;
  controller_->buildMenu();
  EXPECT_EQ(menuTitles(icon_->menu),
            (std::vector<std::string>{"Not signed in", "---", "Sign in with Pellum\u2026", "---",
                                      "Start at Login", "---", "Quit Pellum"}));
}

TEST_F(StatusBarControllerTest, EachChoiceWritesItsPreferenceAndRebuildsTheMenu) {
  const int before = icon_->menuBuilds;
  controller_->menu().performMenuAction(MenuAction::selectRawMode, "");
  EXPECT_EQ(Preferences::currentMode(), TranscriptionMode::raw);
  EXPECT_TRUE(findItem(icon_->menu, "Raw")->checked);
  controller_->menu().performMenuAction(MenuAction::selectSoundsOff, "");
  EXPECT_TRUE(Preferences::soundsOff());
  controller_->menu().performMenuAction(MenuAction::selectMicrophone, "alsa_input.usb");
  EXPECT_EQ(Preferences::selectedInputDeviceUID(), "alsa_input.usb");
  controller_->menu().performMenuAction(MenuAction::selectAutoMicrophone, "");
  EXPECT_EQ(Preferences::selectedInputDeviceUID(), std::nullopt);
  controller_->menu().performMenuAction(MenuAction::selectCodeSwitchingMode, "");
  EXPECT_TRUE(Preferences::isCodeSwitching());
  EXPECT_TRUE(findItem(icon_->menu, "Guess Language")->checked);
  EXPECT_EQ(icon_->menuBuilds, before + 5);
  controller_->menu().performMenuAction(MenuAction::selectCurrentTranslationTarget, "");
  EXPECT_EQ(icon_->menuBuilds, before + 5);  // does nothing, not even a rebuild
}

TEST_F(StatusBarControllerTest, MenuActionsArriveThroughTheMenuQueued) {
  ASSERT_TRUE(icon_->menuHandler);
  icon_->menuHandler(MenuAction::selectSoundsOff, "");
  EXPECT_FALSE(Preferences::soundsOff());
  ASSERT_TRUE(waitUntil([] { return Preferences::soundsOff(); }, 1s));
}

TEST_F(StatusBarControllerTest, TogglingTheLastLanguageChangesNothing) {
  // Without a display the keyboard's languages are ["en"].
  controller_->menu().performMenuAction(MenuAction::toggleCodeSwitchingLanguage, "en");
  EXPECT_EQ(Preferences::storedCodeSwitchingLanguages(), std::nullopt);
  controller_->menu().performMenuAction(MenuAction::toggleCodeSwitchingLanguage, "fr");
  EXPECT_EQ(Preferences::storedCodeSwitchingLanguages(), (std::vector<std::string>{"en", "fr"}));
  EXPECT_TRUE(Preferences::isCodeSwitching());
  controller_->menu().performMenuAction(MenuAction::toggleCodeSwitchingLanguage, "en");
  EXPECT_EQ(Preferences::storedCodeSwitchingLanguages(), (std::vector<std::string>{"fr"}));
}

TEST_F(StatusBarControllerTest, ResetWritesTheKeyboardLanguages) {
  Preferences::setCodeSwitchingLanguages({"ja", "ko"});
  controller_->menu().performMenuAction(MenuAction::resetCodeSwitchingLanguages, "");
  EXPECT_EQ(Preferences::storedCodeSwitchingLanguages(), (std::vector<std::string>{"en"}));
  EXPECT_TRUE(Preferences::isCodeSwitching());
}

TEST_F(StatusBarControllerTest, NoTranslationRemovesTheTarget) {
  Preferences::setTranslationTarget(std::string("de"));
  controller_->buildMenu();
  EXPECT_NE(findItem(icon_->menu, "German"), nullptr);
  controller_->menu().performMenuAction(MenuAction::selectNoTranslation, "");
  EXPECT_EQ(Preferences::translationTarget(), std::nullopt);
  EXPECT_TRUE(findItem(icon_->menu, "None")->checked);
}

}  // namespace
}  // namespace pellum

namespace pellum {
namespace {

TEST_F(StatusBarControllerTest, InHoldModeAQuickTapIsAWholeDictation) {
  pressAndSpeak();
  now_ += 100ms;
  release();
  ASSERT_TRUE(waitUntil([&] { return live_.stopCount() == 1; }, 3s));
}

TEST_F(StatusBarControllerTest, HoldOrTapATapDictatesHandsFreeUntilTheNextPress) {
  Preferences::setHoldOrTap(true);
  pressAndSpeak();
  now_ += 150ms;
  hotkey_->release();
  spin(100ms);
  EXPECT_TRUE(controller_->isRecording());
  source_->push(loudAudio(960 * 20, 330));  // spoken hands-free
  now_ += 4s;
  hotkey_->press();
  ASSERT_TRUE(waitUntil([&] { return !controller_->isRecording(); }, 2s));
  ASSERT_TRUE(waitUntil([&] { return live_.stopCount() == 1; }, 3s));
  EXPECT_GT(live_.binaryCount(), 30);
  // The ending tap's release means nothing.
  now_ += 2s;
  hotkey_->release();
  live_.sendText(R"({"type":"chunk","text":"Hands free."})");
  live_.sendText(R"({"type":"done"})");
  ASSERT_TRUE(waitUntil([&] { return !inserter_->inserted.empty(); }, 3s));
  EXPECT_EQ(inserter_->inserted, (Strings{"Hands free."}));
  EXPECT_EQ(source_->starts, 1);
}

TEST_F(StatusBarControllerTest, HoldOrTapStillEndsAHoldOnRelease) {
  Preferences::setHoldOrTap(true);
  pressAndSpeak();
  now_ += 1500ms;
  release();
  ASSERT_TRUE(waitUntil([&] { return live_.stopCount() == 1; }, 3s));
}

TEST_F(StatusBarControllerTest, EscapeCancelsARecordingAndDropsWhateverComesBack) {
  pressAndSpeak();
  EXPECT_TRUE(hotkey_->cancelKeyArmed);
  testing::internal::CaptureStdout();
  hotkey_->escape();
  ASSERT_TRUE(waitUntil([&] { return !controller_->isRecording(); }, 2s));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Pellum: dictation cancelled\n");
  EXPECT_FALSE(hotkey_->cancelKeyArmed);
  EXPECT_FALSE(controller_->hasStreamingSession());
  EXPECT_FALSE(controller_->hasPendingFallback());
  ASSERT_TRUE(waitUntil([&] { return icon_->log.size() == 2; }, 1s));
  EXPECT_EQ(icon_->log, (Strings{"mic.fill red", "idle"}));
  EXPECT_EQ(overlay_->log, (Strings{"recording", "hidden"}));
  // The server still answers; nothing is pasted, and the key's release
  // starts nothing.
  ASSERT_TRUE(waitUntil([&] { return live_.stopCount() == 1; }, 3s));
  live_.sendText(R"({"type":"chunk","text":"never pasted"})");
  live_.sendText(R"({"type":"done"})");
  hotkey_->release();
  spin(300ms);
  EXPECT_TRUE(inserter_->inserted.empty());
  EXPECT_EQ(sounds_->log, (Strings{"Morse"}));
  EXPECT_EQ(overlay_->log, (Strings{"recording", "hidden"}));
  // The next press is a new dictation.
  pressAndSpeak();
  EXPECT_EQ(source_->starts, 2);
}

TEST_F(StatusBarControllerTest, EscapeWhileWaitingForTheResultDropsIt) {
  pressAndSpeak();
  release();
  ASSERT_TRUE(waitUntil([&] { return live_.stopCount() == 1; }, 3s));
  hotkey_->escape();
  spin(50ms);
  live_.sendText(R"({"type":"chunk","text":"never pasted"})");
  live_.sendText(R"({"type":"done"})");
  spin(300ms);
  EXPECT_TRUE(inserter_->inserted.empty());
  EXPECT_EQ(overlay_->log, (Strings{"recording", "processing", "hidden"}));
}

TEST_F(StatusBarControllerTest, EscapeWithNoDictationDoesNothing) {
  testing::internal::CaptureStdout();
  hotkey_->escape();
  spin(50ms);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_TRUE(icon_->log.empty());
}

TEST_F(StatusBarControllerTest, ADictationEndsItselfAtTheCapAndTheLateReleaseIsIgnored) {
  pressAndSpeak();
  now_ += 5min - 1ms;
  controller_->checkDictationCap();
  EXPECT_TRUE(controller_->isRecording());
  now_ += 1ms;
  testing::internal::CaptureStdout();
  controller_->checkDictationCap();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Pellum: dictation reached its 5-minute limit\n");
  EXPECT_FALSE(controller_->isRecording());
  ASSERT_TRUE(waitUntil([&] { return live_.stopCount() == 1; }, 3s));
  live_.sendText(R"({"type":"chunk","text":"Five minutes of it."})");
  live_.sendText(R"({"type":"done"})");
  ASSERT_TRUE(waitUntil([&] { return !inserter_->inserted.empty(); }, 3s));
  hotkey_->release();
  spin(100ms);
  EXPECT_EQ(source_->starts, 1);
  EXPECT_EQ(overlay_->log, (Strings{"recording", "processing", "hidden"}));
}

TEST_F(StatusBarControllerTest, TheCapTimerFiresOnItsOwn) {
  makeController(false, 200ms);
  pressAndSpeak();
  now_ += 200ms;  // the timer finds the deadline passed when it fires
  ASSERT_TRUE(waitUntil([&] { return !controller_->isRecording(); }, 2s));
}

TEST_F(StatusBarControllerTest, ChoosingAKeyFromTheMenuWatchesItAndStoresIt) {
  const int builds = icon_->menuBuilds;
  controller_->menu().performMenuAction(MenuAction::selectDictationKey, "F13");
  EXPECT_EQ(hotkey_->chosen, (Strings{"F13"}));
  EXPECT_EQ(Preferences::dictationKey(), "F13");
  EXPECT_GT(icon_->menuBuilds, builds);
}

TEST_F(StatusBarControllerTest, AKeyAnotherProgramHoldsIsRefusedWithANoticeAndNotStored) {
  hotkey_->refuse = DictationKeyError{DictationKeyError::Kind::heldByAnotherProgram, "Menu"};
  testing::internal::CaptureStdout();
  controller_->menu().performMenuAction(MenuAction::selectDictationKey, "Menu");
  const std::string notice = "Another program already uses Menu; Right Ctrl stays the dictation key";
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Pellum: " + notice + "\n");
  EXPECT_EQ(icon_->messages, (Strings{notice}));
  EXPECT_EQ(Preferences::dictationKey(), std::nullopt);
}

TEST_F(StatusBarControllerTest, HoldOrTapFromTheMenuChangesTheFirstRow) {
  EXPECT_EQ(icon_->menu.front().title, "Hold Right Ctrl to dictate");
  controller_->menu().performMenuAction(MenuAction::toggleHoldOrTap, "");
  EXPECT_TRUE(Preferences::holdOrTap());
  EXPECT_EQ(icon_->menu.front().title, "Hold or tap Right Ctrl to dictate");
  controller_->menu().performMenuAction(MenuAction::toggleHoldOrTap, "");
  EXPECT_FALSE(Preferences::holdOrTap());
}

}  // namespace
}  // namespace pellum
