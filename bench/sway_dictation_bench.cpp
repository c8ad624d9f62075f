// The dictation key and the paste on a Wayland desktop: a headless sway with
// XWayland, PulseAudio, pellum-server and the pellum desktop program, the
// key typed by a virtual keyboard on sway's seat. The same two figures as
// dictation_bench prints for X11, to be read side by side. Prints figures;
// asserts nothing.
//   press-to-capture: the virtual keyboard's press to the recorder's first
//                     captured buffer, through sway's binding event;
//   release-to-paste: the release to the text in a native Wayland Qt field
//                     (clipboard through data-control, Ctrl+V from Pellum's
//                     virtual keyboard).

#include <QCoreApplication>
#include <QTemporaryDir>
#include <cstdio>

#include "audio/audio_recorder.h"
#include "bench_support.h"
#include "keyboard/hotkey_manager_sway.h"
#include "recorded_speech.h"
#include "support/pulse_server.h"
#include "support/sway_session.h"
#include "support/wayland_keyboard.h"
#include "support/wayland_target.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using bench::Clock;
using bench::millisecondsSince;
using bench::percentile;
using test::WaylandKeyboard;

void pressToCapture(test::PulseServer& pulse, WaylandKeyboard& keyboard) {
  bench::CaptureRig rig(pulse);
  auto hotkey = makeSwayHotkeyManager(DictationKeyGesture::kDefaultCap);
  hotkey->setCallbacks(rig.onPress(), rig.onRelease());
  if (!hotkey->start())
    return (void)std::printf("press-to-capture on sway: %s\n", hotkey->unavailableReason().c_str());
  const auto values = rig.measure(
      30, [&] { keyboard.down(WaylandKeyboard::kRightCtrl); },
      [&] { keyboard.up(WaylandKeyboard::kRightCtrl); });
  std::printf(
      "press-to-capture on sway over %zu presses (ms): p50 %.1f  p95 %.1f  (virtual keyboard press to first "
      "captured buffer)\n",
      values.size(), percentile(values, 0.5), percentile(values, 0.95));
}

void releaseToPaste(test::PulseServer& pulse, test::SwaySession& sway, WaylandKeyboard& keyboard) {
  server::test::ServerProcess server;
  if (!server.started()) return (void)std::printf("release-to-paste on sway: the server did not start\n");
  QTemporaryDir config;
  const auto pellum =
      bench::startDesktop(server, server.addDevice("sway bench"), config.path(), pulse.serverAddress());
  std::vector<double> totals;
  for (int round = 0; round < 2; ++round) {
    for (const auto& utterance : server::test::recordedSpeech()) {
      test::WaylandTarget field(sway, test::WaylandTarget::Kind::qt);
      if (!field.waitUntilFocused()) continue;
      keyboard.down(WaylandKeyboard::kRightCtrl);
      test::waitUntil([&] { return pulse.recordStreams() > 0; }, 10s);
      pulse.play(QString::fromStdString(utterance.wavPath));
      const auto released = Clock::now();
      keyboard.up(WaylandKeyboard::kRightCtrl);
      if (!test::waitUntil([&] { return !field.currentText().isEmpty(); }, 15s)) continue;
      totals.push_back(millisecondsSince(released));
    }
  }
  std::printf("release-to-paste on sway over %zu utterances (ms): p50 %.0f  p95 %.0f\n", totals.size(),
              percentile(totals, 0.5), percentile(totals, 0.95));
  pellum->terminate();
  pellum->waitForFinished(3000);
}

}  // namespace
}  // namespace pellum

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  pellum::test::SwaySession sway;
  if (!sway.isRunning())
    return std::printf("sway dictation bench: sway did not start: %s\n", qPrintable(sway.failure())), 0;
  if (sway.xDisplay().isEmpty()) return std::printf("sway dictation bench: XWayland did not start\n"), 0;
  pellum::test::WaylandKeyboard keyboard(sway.clientEnvironment());
  if (!keyboard.isReady()) return std::printf("sway dictation bench: no virtual keyboard\n"), 0;
  pellum::test::PulseServer pulse;
  if (!pulse.isRunning()) return std::printf("sway dictation bench: pulseaudio did not start\n"), 0;
  pellum::pressToCapture(pulse, keyboard);
  pellum::releaseToPaste(pulse, sway, keyboard);
  return 0;
}
