#pragma once

#include <QEasingCurve>
#include <QElapsedTimer>
#include <QPainterPath>
#include <QPointer>
#include <QTimer>
#include <QWidget>
#include <array>
#include <chrono>
#include <memory>
#include <optional>

#include "ui/dictation_overlay.h"
#include "ui/notch_geometry.h"

namespace pellum {

// What the overlay shows at one moment: a black band, its two lower
// corners rounded, with five white bars or five pulsing dots. It paints
// into any painter, so the Qt window and the Wayland surfaces share it.
struct NotchLook {
  // The band's outline in a w × h area.
  static QPainterPath shape(double w, double h);

  // Paints the band into a w × h area at the painter's origin.
  void paint(QPainter& painter, double w, double h) const;

  std::array<double, notch::kBarCount> levels{};
  bool barsVisible = true;
  double barsCollapse = 0;                   // 0 bars as levels say .. 1 collapsed to dots and gone
  std::optional<QElapsedTimer> loaderClock;  // set once the loader shows
  double loaderEntrance = 0;                 // 0 .. 1 over the loader's first 0.25 s

 private:
  void paintBars(QPainter& painter, double h) const;
  void paintLoader(QPainter& painter, double h) const;
};

// The overlay's window under X11. It never takes focus and lets every
// click through.
class NotchPanel : public QWidget, public NotchLook {
 public:
  explicit NotchPanel(const notch::Rect& frame);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

// Where the overlay appears when it is not the Qt window: layer surfaces of
// the compositor. present() draws `look` at `opacity` on every screen.
class NotchSurfaces {
 public:
  virtual ~NotchSurfaces() = default;
  // False when there is no screen to show on.
  virtual bool show() = 0;
  virtual void present(const NotchLook& look, double opacity) = 0;
  virtual void hide() = 0;
};

// Shows a dictation at the top of the screen: the bars follow the
// microphone level while recording, the dots pulse while the text comes,
// and it fades away at the end. It grows out of the screen's camera housing
// (notch_screen.h: the real one on a Mac that has one, a virtual one
// centred at the top of the primary screen elsewhere). A processing overlay
// that is never hidden hides itself after 60 s.
//
// Main thread only.
class NotchOverlayController : public QObject, public DictationOverlay {
 public:
  // Without `surfaces` the overlay is a Qt window; with them the window is
  // never shown and only holds the animation's state.
  explicit NotchOverlayController(std::chrono::milliseconds failsafe = std::chrono::seconds(60),
                                  std::unique_ptr<NotchSurfaces> surfaces = nullptr);
  ~NotchOverlayController() override;

  bool showRecording() override;
  void setTargetLevel(float level) override;
  void showProcessing() override;
  void hide() override;

  // State, for tests.
  NotchPanel* panel() const { return panel_; }
  bool isProcessing() const { return isProcessing_; }
  double targetLevel() const { return targetLevel_; }
  bool isTicking() const { return frameTimer_.isActive(); }
  bool failsafeArmed() const { return failsafe_.isActive(); }
  int failsafeRemainingMs() const { return failsafe_.remainingTime(); }

  // One display refresh of the bars.
  void tickWave();

  // The overlay's animations and the timing curve of each: things that
  // appear ease out, things that go away ease in.
  enum class Animation { reveal, collapse, loaderEntrance, dismiss };
  static QEasingCurve easing(Animation animation);

 private:
  void teardown();
  void repaint();
  void setOpacity(double opacity);
  void animate(Animation animation, std::function<void(double)> step);

  QPointer<NotchPanel> panel_;
  bool isProcessing_ = false;
  double targetLevel_ = 0;
  QTimer frameTimer_;   // runs only while bars are shown
  QTimer loaderTimer_;  // runs only while the loader is shown
  QTimer failsafe_;
  std::unique_ptr<NotchSurfaces> surfaces_;
};

}  // namespace pellum
