// Dictation benchmarks with the real parts (Xvfb, PulseAudio, pellum-server,
// the pellum desktop program, another X client). Prints figures; asserts
// nothing.
//   release-to-paste: XTest release of the key to the text in the field, and
//                     the server's own share of it (its stop-to-end);
//   press-to-capture: XTest press to the recorder's first captured buffer;
//   idle cost:        resident memory and wake-ups per second of an idle
//                     pellum over 60 s (PELLUM_BENCH_IDLE_SECONDS to change).

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

#include "audio/audio_recorder.h"
#include "bench_support.h"
#include "keyboard/hotkey_manager.h"
#include "recorded_speech.h"
#include "server_process.h"
#include "support/event_loop.h"
#include "support/probe_process.h"
#include "support/pulse_server.h"
#include "support/xtest_keyboard.h"
#include "support/xvfb_display.h"

namespace pellum {
namespace {

QProcessEnvironment x11Session() {
  QProcessEnvironment environment;
  environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
  return environment;
}

using namespace std::chrono_literals;
using bench::Clock;
using bench::percentile;
using bench::startDesktop;

std::vector<double> serverStopToEnd(const std::string& output) {
  std::vector<double> values;
  const QRegularExpression pattern(QStringLiteral("stop-to-end=([0-9.]+)s"));
  auto matches = pattern.globalMatch(QString::fromStdString(output));
  while (matches.hasNext()) values.push_back(matches.next().captured(1).toDouble() * 1000.0);
  return values;
}

void releaseToPaste(test::PulseServer& pulse) {
  server::test::ServerProcess server;
  if (!server.started()) return (void)std::printf("release-to-paste: the server did not start\n");
  const std::string token = server.addDevice("bench");
  QTemporaryDir config;
  const auto pellum = startDesktop(server, token, config.path(), pulse.serverAddress(), x11Session());
  test::XTestKeyboard keyboard;
  const auto utterances = server::test::recordedSpeech();
  std::vector<double> totals;
  for (int round = 0; round < 4; ++round) {
    for (const auto& utterance : utterances) {
      test::ProbeProcess field;
      if (!field.waitUntilReady()) continue;
      keyboard.press("Control_R");
      test::waitUntil([&] { return pulse.recordStreams() > 0; }, 10s);
      pulse.play(QString::fromStdString(utterance.wavPath));
      const auto released = Clock::now();
      keyboard.release("Control_R");
      if (!test::waitUntil([&] { return !field.text().isEmpty(); }, 15s)) continue;
      totals.push_back(std::chrono::duration<double, std::milli>(Clock::now() - released).count());
    }
  }
  const auto serverShare = serverStopToEnd(server.output());
  std::printf("release-to-paste over %zu utterances (ms): p50 %.0f  p95 %.0f\n", totals.size(),
              percentile(totals, 0.5), percentile(totals, 0.95));
  std::printf(
      "  of which the server's stop-to-end: p50 %.0f  p95 %.0f; the client and the paste: p50 ~%.0f\n",
      percentile(serverShare, 0.5), percentile(serverShare, 0.95),
      percentile(totals, 0.5) - percentile(serverShare, 0.5));
  pellum->terminate();
  pellum->waitForFinished(3000);
}

void pressToCapture(test::PulseServer& pulse) {
  bench::CaptureRig rig(pulse);
  auto hotkey = HotkeyManager::create(rig.onPress(), rig.onRelease());
  if (!hotkey->start()) return (void)std::printf("press-to-capture: no dictation key\n");
  test::XTestKeyboard keyboard;
  const auto values = rig.measure(
      30, [&] { keyboard.press("Control_R"); }, [&] { keyboard.release("Control_R"); });
  std::printf(
      "press-to-capture over %zu presses (ms): p50 %.1f  p95 %.1f  (XTest press to first captured buffer)\n",
      values.size(), percentile(values, 0.5), percentile(values, 0.95));
}

long readStatusKb(const QString& path, const char* field) {
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly)) return -1;
  for (const QByteArray& line : file.readAll().split('\n')) {
    if (line.startsWith(field))
      return line.mid(static_cast<qsizetype>(std::strlen(field))).trimmed().split(' ').first().toLong();
  }
  return -1;
}

long contextSwitches(qint64 pid) {
  long total = 0;
  for (const QString& task :
       QDir(QStringLiteral("/proc/%1/task").arg(pid)).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
    const QString status = QStringLiteral("/proc/%1/task/%2/status").arg(pid).arg(task);
    total += std::max(0L, readStatusKb(status, "voluntary_ctxt_switches:")) +
             std::max(0L, readStatusKb(status, "nonvoluntary_ctxt_switches:"));
  }
  return total;
}

void idleCost(test::PulseServer& pulse) {
  server::test::ServerProcess server;
  const std::string token = server.addDevice("idle");
  QTemporaryDir config;
  const auto pellum = startDesktop(server, token, config.path(), pulse.serverAddress(), x11Session());
  const qint64 pid = pellum->processId();
  const int seconds = qEnvironmentVariableIntValue("PELLUM_BENCH_IDLE_SECONDS") > 0
                          ? qEnvironmentVariableIntValue("PELLUM_BENCH_IDLE_SECONDS")
                          : 60;
  test::spin(2s);  // settle after start-up
  const long before = contextSwitches(pid);
  test::spin(std::chrono::seconds(seconds));
  const long after = contextSwitches(pid);
  const long rssKb = readStatusKb(QStringLiteral("/proc/%1/status").arg(pid), "VmRSS:");
  std::printf(
      "idle pellum over %d s: resident %.1f MB (target < 45), %.2f wake-ups per second (target: none "
      "periodic)\n",
      seconds, static_cast<double>(rssKb) / 1024.0, static_cast<double>(after - before) / seconds);
  pellum->terminate();
  pellum->waitForFinished(3000);
}

}  // namespace
}  // namespace pellum

int main(int argc, char** argv) {
  pellum::test::XvfbDisplay display;
  if (!display.isRunning()) return std::printf("dictation bench: Xvfb did not start\n"), 0;
  qputenv("QT_QPA_PLATFORM", "xcb");
  qputenv("PELLUM_HOTKEY_BACKEND", "x11");
  QApplication app(argc, argv);
  pellum::test::PulseServer pulse;
  if (!pulse.isRunning()) return std::printf("dictation bench: pulseaudio did not start\n"), 0;
  pellum::releaseToPaste(pulse);
  pellum::idleCost(pulse);
  pellum::pressToCapture(pulse);
  return 0;
}
