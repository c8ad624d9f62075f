// Overlay benchmark: how soon the layer-shell overlay has its first frame on
// the compositor after a recording starts, on a headless sway. Prints
// figures; asserts nothing.

#include <QApplication>
#include <QDeadlineTimer>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include "support/sway_session.h"
#include "ui/notch_surfaces_wayland.h"

namespace pellum {
namespace {

using Clock = std::chrono::steady_clock;

double milliseconds(Clock::duration d) { return std::chrono::duration<double, std::milli>(d).count(); }

// One show: from showRecording() to the first buffer committed to the
// compositor; negative when none came within 5 s.
double firstFrame(const test::SwaySession& sway) {
  auto connection = std::make_unique<WaylandConnection>(sway.waylandDisplay().toStdString());
  auto* surfaces = new LayerShellNotchSurfaces(std::move(connection));
  NotchOverlayController overlay(std::chrono::seconds(60), std::unique_ptr<NotchSurfaces>(surfaces));
  const auto start = Clock::now();
  if (!overlay.showRecording()) return -1;
  QDeadlineTimer deadline(5000);
  while (surfaces->committedSurfaces() == 0 && !deadline.hasExpired()) {
    QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
  }
  const auto end = Clock::now();
  overlay.hide();
  return surfaces->committedSurfaces() > 0 ? milliseconds(end - start) : -1;
}

}  // namespace
}  // namespace pellum

int main(int argc, char** argv) {
  // Qt's own windows are not measured here; a screen of its own is enough.
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  pellum::test::SwaySession sway;
  if (!sway.isRunning()) {
    std::printf("overlay: no sway (%s)\n", qPrintable(sway.failure()));
    return 0;
  }
  std::vector<double> times;
  for (int i = 0; i < 30; ++i) {
    const double ms = pellum::firstFrame(sway);
    if (ms >= 0) times.push_back(ms);
  }
  if (times.empty()) {
    std::printf("overlay: no frame reached sway\n");
    return 0;
  }
  std::sort(times.begin(), times.end());
  std::printf(
      "overlay: showRecording to first committed frame on sway: median %.2f ms, p95 %.2f ms (%zu shows)\n",
      times[times.size() / 2], times[times.size() * 95 / 100], times.size());
  return 0;
}
