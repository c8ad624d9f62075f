// Everything that can go wrong between the desktop program and the server,
// each with the real parts: a private X server, a PulseAudio daemon playing
// recorded speech into a virtual microphone, the real pellum-server, the
// pellum desktop program and a separate X client with a focused field. In
// every case the dictation must end: the overlay goes, the log says what
// happened, and nothing is pasted, or it is pasted exactly once.
#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include <xcb/xcb.h>

#include "desktop_program.h"
#include "recorded_speech.h"
#include "server_process.h"
#include "support/event_loop.h"
#include "support/probe_process.h"
#include "support/pulse_server.h"
#include "support/x_windows.h"
#include "support/xtest_keyboard.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using server::test::ServerProcess;
using test::DesktopProgram;
using test::waitUntil;

const QString kReady = QStringLiteral("HotkeyManager: hold Right Ctrl to dictate");

class FaultMatrixE2ETest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(pulse_.isRunning());
    ASSERT_TRUE(display_ != nullptr && !xcb_connection_has_error(display_));
    utterance_ = server::test::recordedSpeech().at(1);
  }
  void TearDown() override { xcb_disconnect(display_); }

  // Holds the key and starts the speech; `whileSpeaking` runs during it.
  void pressAndSpeak(DesktopProgram& pellum, const std::function<void()>& whileSpeaking = {}) {
    ASSERT_TRUE(keyboard_.press("Control_R"));
    ASSERT_TRUE(waitUntil([&] { return pulse_.recordStreams() > 0; }, 10s)) << pellum.log().toStdString();
    // The overlay is up (so that its going away later means something).
    ASSERT_TRUE(waitUntil([&] { return !test::viewableWindowsOf(display_, "pellum").empty(); }, 5s));
    std::thread player([this] { pulse_.play(QString::fromStdString(utterance_.wavPath)); });
    if (whileSpeaking) {
      std::this_thread::sleep_for(1200ms);
      whileSpeaking();
    }
    player.join();
  }

  // Whether the program still shows a window (the overlay) after its fade.
  bool overlayGone() {
    return waitUntil([&] { return test::viewableWindowsOf(display_, "pellum").empty(); }, 5s);
  }

  // The words are not lost: the failed dictation's recording waits among
  // the recent dictations for a retry.
  static void expectRecordingKept(const DesktopProgram& pellum) {
    const nlohmann::json kept = pellum.newestDictation();
    ASSERT_TRUE(kept.is_object());
    EXPECT_EQ(kept["outcome"], "failed");
    EXPECT_EQ(kept["has_recording"], true);
    EXPECT_FALSE(kept["failure"].get<std::string>().empty());
  }

  // Every change of the field's text, as the probe reported it.
  static int pastes(test::ProbeProcess& field) {
    int count = 0;
    for (const QString& line : field.lines())
      count += line.startsWith(QStringLiteral("text:")) && line.size() > 5;
    return count;
  }

  // A server started with `args` and a paired device, then (after
  // `beforeDesktop`) the desktop program against it and a focused field.
  void startAll(std::vector<std::string> args = {},
                const std::function<void(ServerProcess&)>& beforeDesktop = {}) {
    server_ = std::make_unique<ServerProcess>(std::move(args));
    ASSERT_TRUE(server_->started());
    const std::string token = server_->addDevice("fault matrix");
    if (beforeDesktop) beforeDesktop(*server_);
    pellum_ = std::make_unique<DesktopProgram>(*server_, token, config_.path(), pulse_.serverAddress());
    ASSERT_TRUE(pellum_->waitForLog(kReady));
    field_ = std::make_unique<test::ProbeProcess>();
    ASSERT_TRUE(field_->waitUntilReady());
  }

  test::PulseServer pulse_;
  QTemporaryDir config_;
  std::unique_ptr<ServerProcess> server_;
  std::unique_ptr<DesktopProgram> pellum_;
  std::unique_ptr<test::ProbeProcess> field_;
  test::XTestKeyboard keyboard_;
  xcb_connection_t* display_ = xcb_connect(nullptr, nullptr);
  server::test::Utterance utterance_;
};

TEST_F(FaultMatrixE2ETest, ServerNotRunningAtAll) {
  ASSERT_NO_FATAL_FAILURE(startAll({}, [](ServerProcess& server) { server.terminate(); }));
  DesktopProgram& pellum = *pellum_;
  test::ProbeProcess& field = *field_;

  pressAndSpeak(pellum);
  ASSERT_TRUE(keyboard_.release("Control_R"));
  ASSERT_TRUE(pellum.waitForLog(QStringLiteral("Groq fallback failed: "), 15s)) << pellum.log().toStdString();
  EXPECT_TRUE(pellum.log().contains("Gladia failed (state .failed: ")) << pellum.log().toStdString();
  EXPECT_TRUE(overlayGone());
  EXPECT_TRUE(field.text().isEmpty());
  expectRecordingKept(pellum);
}

TEST_F(FaultMatrixE2ETest, ServerKilledInTheMiddleOfTheStream) {
  ASSERT_NO_FATAL_FAILURE(startAll());
  DesktopProgram& pellum = *pellum_;
  test::ProbeProcess& field = *field_;

  pressAndSpeak(pellum, [&] { server_->killNow(); });
  ASSERT_TRUE(keyboard_.release("Control_R"));
  ASSERT_TRUE(pellum.waitForLog(QStringLiteral("Groq fallback failed: "), 15s)) << pellum.log().toStdString();
  EXPECT_EQ(pellum.countInLog(QStringLiteral("Gladia failed (")), 1) << pellum.log().toStdString();
  EXPECT_TRUE(overlayGone());
  EXPECT_TRUE(field.text().isEmpty());
  expectRecordingKept(pellum);
}

TEST_F(FaultMatrixE2ETest, LiveRouteFailsAfterPartialTextAndTheUploadPastesItOnce) {
  // The live session has sent some raw text by the time it fails.
  ASSERT_NO_FATAL_FAILURE(startAll({"--fail-live-after-ms", "1800"}));
  DesktopProgram& pellum = *pellum_;
  test::ProbeProcess& field = *field_;

  pressAndSpeak(pellum);
  ASSERT_TRUE(keyboard_.release("Control_R"));
  ASSERT_TRUE(waitUntil([&] { return !field.text().isEmpty(); }, 20s)) << pellum.log().toStdString();
  EXPECT_TRUE(pellum.log().contains("Gladia failed (injected failure) \xE2\x80\x94 falling back to Groq"));
  EXPECT_TRUE(overlayGone());
  std::this_thread::sleep_for(1s);
  EXPECT_EQ(pastes(field), 1) << field.lines().join('\n').toStdString();
  // Pasted, and kept: "Paste Last Transcript" gives it again.
  const nlohmann::json kept = pellum.newestDictation();
  ASSERT_TRUE(kept.is_object()) << pellum.log().toStdString();
  EXPECT_EQ(kept["outcome"], "inserted");
  EXPECT_EQ(kept["text"], field.text().toStdString());
}

TEST_F(FaultMatrixE2ETest, DeviceRevokedDuringTheDictationSoTheUploadIsRefused) {
  ASSERT_NO_FATAL_FAILURE(startAll({"--fail-live-after-ms", "2500"}));
  DesktopProgram& pellum = *pellum_;
  test::ProbeProcess& field = *field_;

  pressAndSpeak(pellum, [&] { ASSERT_TRUE(server_->revokeDevice("1")); });
  ASSERT_TRUE(keyboard_.release("Control_R"));
  const QString refused = QStringLiteral("Groq fallback failed: Device access revoked. Sign in again.");
  ASSERT_TRUE(pellum.waitForLog(refused, 20s)) << pellum.log().toStdString();
  EXPECT_TRUE(pellum.log().contains("Gladia failed (injected failure)")) << pellum.log().toStdString();
  EXPECT_TRUE(overlayGone());
  EXPECT_TRUE(field.text().isEmpty());
  // The next dictation: the live route refuses the revoked token at the
  // handshake, the upload says why.
  pressAndSpeak(pellum);
  ASSERT_TRUE(keyboard_.release("Control_R"));
  ASSERT_TRUE(waitUntil([&] { return pellum.countInLog(refused) == 2; }, 15s)) << pellum.log().toStdString();
  EXPECT_TRUE(overlayGone());
  EXPECT_TRUE(field.text().isEmpty());
  expectRecordingKept(pellum);
}

// No window takes the paste (nothing has the focus): the words are still
// kept, for "Paste Last Transcript" or a copy from "Recent".
TEST_F(FaultMatrixE2ETest, APasteNobodyTakesStillKeepsTheWords) {
  server_ = std::make_unique<ServerProcess>();
  ASSERT_TRUE(server_->started());
  DesktopProgram pellum(*server_, server_->addDevice("fault matrix"), config_.path(), pulse_.serverAddress());
  ASSERT_TRUE(pellum.waitForLog(kReady));

  pressAndSpeak(pellum);
  ASSERT_TRUE(keyboard_.release("Control_R"));
  ASSERT_TRUE(waitUntil([&] { return server_->output().find("stop-to-end=") != std::string::npos; }, 20s));
  const nlohmann::json kept = pellum.newestDictation();
  ASSERT_TRUE(kept.is_object()) << pellum.log().toStdString();
  EXPECT_EQ(kept["outcome"], "inserted");
  EXPECT_FALSE(kept["text"].get<std::string>().empty()) << kept.dump();
}

}  // namespace
}  // namespace pellum
