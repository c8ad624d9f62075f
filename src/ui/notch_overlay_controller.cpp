#include "ui/notch_overlay_controller.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QVariantAnimation>

#include "ui/notch_screen.h"

namespace pellum {
namespace {

constexpr int kRevealMs = 200;
constexpr int kCollapseMs = 220;
constexpr int kLoaderEntranceMs = 250;
constexpr int kDismissMs = 220;
constexpr int kDismissStepMs = 240;
constexpr int kLoaderFrameMs = 33;  // the dots' pulse needs no more than 30 frames a second

const std::array<QColor, notch::kDotCount> kLoaderColors{
    QColor::fromRgbF(0.169f, 1.0f, 0.639f), QColor::fromRgbF(0.122f, 0.898f, 1.0f),
    QColor::fromRgbF(0.651f, 0.361f, 1.0f), QColor::fromRgbF(1.0f, 0.31f, 0.627f),
    QColor::fromRgbF(0.706f, 1.0f, 0.227f)};

std::optional<notch::Rect> overlayFrame() {
  const auto screen = overlayScreenFacts();
  if (!screen) return std::nullopt;
  return notch::notchFrame(*screen);
}

}  // namespace

NotchPanel::NotchPanel(const notch::Rect& frame)
    : QWidget(nullptr, Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::Tool |
                           Qt::WindowDoesNotAcceptFocus | Qt::WindowTransparentForInput |
                           Qt::X11BypassWindowManagerHint) {
  setAttribute(Qt::WA_TranslucentBackground);
  setAttribute(Qt::WA_ShowWithoutActivating);
  setAttribute(Qt::WA_TransparentForMouseEvents);
  setAttribute(Qt::WA_X11DoNotAcceptFocus);
  setFocusPolicy(Qt::NoFocus);
  setGeometry(qRound(frame.x), qRound(frame.y), qRound(frame.width), qRound(frame.height));
  // Without a compositor a translucent window's corners show whatever was
  // under it when mapped (black, on most desktops): the mask cuts the
  // rounded corners out in any case.
  setMask(QRegion(shape(width(), height()).toFillPolygon().toPolygon()));
}

QPainterPath NotchLook::shape(double w, double h) {
  // Square at the top, against the screen edge; rounded below.
  const double r = notch::kCornerRadius;
  QPainterPath path;
  path.moveTo(0, 0);
  path.lineTo(w, 0);
  path.lineTo(w, h - r);
  path.quadTo(w, h, w - r, h);
  path.lineTo(r, h);
  path.quadTo(0, h, 0, h - r);
  path.closeSubpath();
  return path;
}

void NotchPanel::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  paint(painter, width(), height());
}

void NotchLook::paint(QPainter& painter, double w, double h) const {
  painter.setRenderHint(QPainter::Antialiasing);
  painter.fillPath(shape(w, h), Qt::black);
  if (barsVisible) paintBars(painter, h);
  if (loaderClock) paintLoader(painter, h);
}

void NotchLook::paintBars(QPainter& painter, double h) const {
  const double mid = h / 2.0;
  QColor white = QColor::fromRgbF(0.96f, 0.96f, 0.96f);
  white.setAlphaF(static_cast<float>(1.0 - barsCollapse));
  painter.setPen(Qt::NoPen);
  painter.setBrush(white);
  for (int i = 0; i < notch::kBarCount; ++i) {
    const double full = notch::barHeight(levels[static_cast<std::size_t>(i)], h);
    const double barHeight = full + (notch::kMinBarHeight - full) * barsCollapse;
    painter.drawRoundedRect(QRectF(notch::barX(i), mid - barHeight / 2, notch::kBarWidth, barHeight),
                            notch::kBarWidth / 2, notch::kBarWidth / 2);
  }
}

void NotchLook::paintLoader(QPainter& painter, double h) const {
  const double seconds = static_cast<double>(loaderClock->elapsed()) / 1000.0;
  const double containerLeft = notch::kExtensionWidth / 2 - notch::loaderWidth() / 2;
  const double mid = h / 2.0;
  const double entranceScale = 0.85 + 0.15 * loaderEntrance;
  painter.setPen(Qt::NoPen);
  for (int i = 0; i < notch::kDotCount; ++i) {
    const auto pulse = notch::dotPulse(i, seconds);
    const double size = notch::kDotSize * pulse.scale * entranceScale;
    const double centreX =
        notch::kExtensionWidth / 2 +
        (containerLeft + notch::dotX(i) + notch::kDotSize / 2 - notch::kExtensionWidth / 2) * entranceScale;
    QColor color = kLoaderColors[static_cast<std::size_t>(i)];
    // The glow: a wider, fainter disc behind the dot.
    QColor glow = color;
    glow.setAlphaF(static_cast<float>(0.35 * pulse.opacity * loaderEntrance));
    painter.setBrush(glow);
    painter.drawEllipse(QPointF(centreX, mid), size / 2 + 3, size / 2 + 3);
    color.setAlphaF(static_cast<float>(pulse.opacity * loaderEntrance));
    painter.setBrush(color);
    painter.drawEllipse(QPointF(centreX, mid), size / 2, size / 2);
  }
}

NotchOverlayController::NotchOverlayController(std::chrono::milliseconds failsafe,
                                               std::unique_ptr<NotchSurfaces> surfaces)
    : surfaces_(std::move(surfaces)) {
  frameTimer_.setTimerType(Qt::PreciseTimer);
  connect(&frameTimer_, &QTimer::timeout, this, &NotchOverlayController::tickWave);
  loaderTimer_.setInterval(kLoaderFrameMs);
  connect(&loaderTimer_, &QTimer::timeout, this, [this] { repaint(); });
  failsafe_.setSingleShot(true);
  failsafe_.setInterval(static_cast<int>(failsafe.count()));
  QPointer<NotchOverlayController> weak(this);
  connect(&failsafe_, &QTimer::timeout, this, [weak] {
    if (weak) weak->hide();
  });
}

NotchOverlayController::~NotchOverlayController() { teardown(); }

QEasingCurve NotchOverlayController::easing(Animation animation) {
  // The standard ease-in and ease-out cubic Béziers, (0.42, 0, 1, 1) and
  // (0, 0, 0.58, 1).
  QEasingCurve curve(QEasingCurve::BezierSpline);
  if (animation == Animation::collapse || animation == Animation::dismiss) {
    curve.addCubicBezierSegment(QPointF(0.42, 0), QPointF(1, 1), QPointF(1, 1));
  } else {
    curve.addCubicBezierSegment(QPointF(0, 0), QPointF(0.58, 1), QPointF(1, 1));
  }
  return curve;
}

namespace {

int durationMs(NotchOverlayController::Animation animation) {
  using Animation = NotchOverlayController::Animation;
  switch (animation) {
    case Animation::reveal:
      return kRevealMs;
    case Animation::collapse:
      return kCollapseMs;
    case Animation::loaderEntrance:
      return kLoaderEntranceMs;
    case Animation::dismiss:
      return kDismissMs;
  }
  return 0;
}

}  // namespace

void NotchOverlayController::animate(Animation kind, std::function<void(double)> step) {
  auto* animation = new QVariantAnimation(panel_);
  animation->setDuration(durationMs(kind));
  animation->setStartValue(0.0);
  animation->setEndValue(1.0);
  animation->setEasingCurve(easing(kind));
  connect(animation, &QVariantAnimation::valueChanged, animation,
          [step](const QVariant& value) { step(value.toDouble()); });
  animation->start(QAbstractAnimation::DeleteWhenStopped);
}

bool NotchOverlayController::showRecording() {
  const auto frame = overlayFrame();
  if (!frame) return false;
  teardown();
  targetLevel_ = 0;
  isProcessing_ = false;
  if (surfaces_ && !surfaces_->show()) return false;
  panel_ = new NotchPanel(*frame);
  setOpacity(0);
  if (!surfaces_) {
    panel_->show();
    // After show: Qt applies its own window level and behaviour then. The
    // panel is still fully transparent here.
    placeOverlayWindow(*panel_);
  }
  QPointer<NotchPanel> panel = panel_;
  QPointer<NotchOverlayController> weak(this);
  animate(Animation::reveal, [weak, panel](double t) {
    if (weak && panel && weak->panel_ == panel) weak->setOpacity(t);
  });
  QScreen* screen = QGuiApplication::primaryScreen();
  const double refresh = screen && screen->refreshRate() > 1 ? screen->refreshRate() : 60.0;
  frameTimer_.start(static_cast<int>(1000.0 / refresh));
  return true;
}

void NotchOverlayController::setTargetLevel(float level) {
  if (!panel_ || isProcessing_) return;
  targetLevel_ = level;
}

void NotchOverlayController::tickWave() {
  if (!panel_ || isProcessing_) return;
  notch::tickLevels(panel_->levels, targetLevel_);
  repaint();
}

void NotchOverlayController::showProcessing() {
  if (!panel_ || isProcessing_) return;
  isProcessing_ = true;
  frameTimer_.stop();
  QPointer<NotchPanel> panel = panel_;
  QPointer<NotchOverlayController> weak(this);
  animate(Animation::collapse, [weak, panel](double t) {
    if (!panel) return;
    panel->barsCollapse = t;
    panel->barsVisible = t < 1.0;
    if (weak && weak->panel_ == panel) weak->repaint();
  });
  panel_->loaderClock.emplace();
  panel_->loaderClock->start();
  animate(Animation::loaderEntrance, [panel](double t) {
    if (panel) panel->loaderEntrance = t;
  });
  loaderTimer_.start();
  failsafe_.start();
}

void NotchOverlayController::hide() {
  failsafe_.stop();
  if (!panel_) return;
  QPointer<NotchPanel> panel = panel_;
  const double from = panel_->windowOpacity();
  QPointer<NotchOverlayController> weak(this);
  animate(Animation::dismiss, [weak, panel, from](double t) {
    if (weak && panel && weak->panel_ == panel) weak->setOpacity(from * (1.0 - t));
  });
  QTimer::singleShot(kDismissStepMs, [weak, panel] {
    if (panel) panel->hide();
    // A show in the meantime made a new panel: leave that one alone.
    if (weak && weak->panel_ == panel) weak->teardown();
  });
}

void NotchOverlayController::teardown() {
  frameTimer_.stop();
  loaderTimer_.stop();
  isProcessing_ = false;
  if (panel_) {
    panel_->hide();
    panel_->deleteLater();
    if (surfaces_) surfaces_->hide();
  }
  panel_ = nullptr;
}

void NotchOverlayController::repaint() {
  if (!panel_) return;
  if (surfaces_) {
    surfaces_->present(*panel_, panel_->windowOpacity());
  } else {
    panel_->update();
  }
}

void NotchOverlayController::setOpacity(double opacity) {
  // A window never shown keeps the value too: the surfaces read it back.
  panel_->setWindowOpacity(opacity);
  if (surfaces_) surfaces_->present(*panel_, opacity);
}

}  // namespace pellum
