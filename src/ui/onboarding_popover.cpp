#include "ui/onboarding_popover.h"

#include <QGuiApplication>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <cstdio>

#include "base/log_line.h"
#include "ui/card_placement.h"
#include "ui/point_size.h"

namespace pellum {
namespace {

QLabel* label(QWidget* parent, const QString& text, double points, bool semibold, bool secondary,
              const QRect& frame) {
  auto* label = new QLabel(text, parent);
  QFont font = label->font();
  font.setPointSizeF(qtPointSize(points));
  if (semibold) font.setWeight(QFont::DemiBold);
  label->setFont(font);
  label->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
  label->setWordWrap(!semibold);
  if (secondary) label->setForegroundRole(QPalette::PlaceholderText);
  label->setGeometry(frame);
  return label;
}

// The card's window: frameless, rounded, on top. A tool window, not a popup:
// a popup grabs the keyboard and pointer, and while it is up the dictation
// key's passive grab never fires.
QWidget* cardWindow(int width, int height, Qt::WindowFlags extra = {}) {
  auto* card = new QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                                        Qt::NoDropShadowWindowHint | extra);
  card->setAttribute(Qt::WA_DeleteOnClose);
  card->setFixedSize(width, height);
  QPainterPath rounded;
  rounded.addRoundedRect(QRectF(0, 0, width, height), 12, 12);
  card->setMask(QRegion(rounded.toFillPolygon().toPolygon()));
  return card;
}

notch::Rect toRect(const QRect& r) {
  return {double(r.x()), double(r.y()), double(r.width()), double(r.height())};
}

}  // namespace

KeyCapView::KeyCapView(const QString& label, QWidget* parent) : QWidget(parent), label_(label) {}

void KeyCapView::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const QPalette colors = palette();
  painter.setPen(QPen(colors.color(QPalette::Mid), 1));
  painter.setBrush(colors.color(QPalette::Base));
  painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);
  QFont font = painter.font();
  font.setPointSizeF(qtPointSize(11));
  font.setWeight(QFont::Medium);
  painter.setFont(font);
  painter.setPen(colors.color(QPalette::WindowText));
  // One point below true centre, as a printed key cap sits.
  painter.drawText(QRectF(rect()).translated(0, 1), Qt::AlignCenter, label_);
}

OnboardingPopover::OnboardingPopover() {
  autoDismiss_.setSingleShot(true);
  connect(&autoDismiss_, &QTimer::timeout, this, &OnboardingPopover::dismiss);
  showTimer_.setSingleShot(true);
}

OnboardingPopover::~OnboardingPopover() {
  dismiss();
  if (pending_) pending_->deleteLater();
}

void OnboardingPopover::showSignInPrompt(const QRect& anchor, std::function<void()> onSignIn) {
  QWidget* card = cardWindow(300, 166);
  label(card, QStringLiteral("Welcome to Pellum"), 17, true, false, QRect(0, 22, 300, 22));
  label(card, QStringLiteral("Sign in to start dictating anywhere on your computer."), 13, false, true,
        QRect(28, 52, 244, 36));
  auto* button = new QPushButton(QStringLiteral("Sign in with Pellum"), card);
  button->setDefault(true);
  button->setAutoDefault(true);
  button->adjustSize();
  button->move((300 - button->width()) / 2, 104);
  QPointer<OnboardingPopover> weak(this);
  connect(button, &QPushButton::clicked, this, [weak, onSignIn = std::move(onSignIn)] {
    if (weak) weak->dismiss();
    if (onSignIn) onSignIn();
  });
  signInButton_ = button;
  auto* escape = new QShortcut(QKeySequence(Qt::Key_Escape), card);
  connect(escape, &QShortcut::activated, this, [weak] {
    if (weak) weak->dismiss();
  });
  present(card, anchor, std::nullopt);
}

void OnboardingPopover::showKeyHint(const QRect& anchor, const QString& keyCapName, int autoDismissMs) {
  // Nothing on it takes a key, so it never takes the focus from the
  // application the user is about to dictate into.
  QWidget* card = cardWindow(300, 144, Qt::WindowDoesNotAcceptFocus);
  label(card, QStringLiteral("You're signed in"), 17, true, false, QRect(0, 22, 300, 22));
  label(card, QStringLiteral("Hold this key anywhere to dictate."), 13, false, true, QRect(28, 52, 244, 20));
  auto* cap = new KeyCapView(keyCapName, card);
  // Wide enough for longer names than "fn" ("ctrl", "altgr").
  const int capWidth = std::max(40, cap->fontMetrics().horizontalAdvance(keyCapName) + 16);
  cap->setGeometry((300 - capWidth) / 2, 84, capWidth, 30);
  present(card, anchor, autoDismissMs);
}

void OnboardingPopover::present(QWidget* card, const QRect& anchor, std::optional<int> autoDismissMs) {
  dismiss();
  if (pending_) pending_->deleteLater();
  pending_ = card;
  showTimer_.disconnect();
  QPointer<OnboardingPopover> weak(this);
  connect(&showTimer_, &QTimer::timeout, this, [weak, anchor, autoDismissMs] {
    if (weak) weak->showNow(anchor, autoDismissMs);
  });
  showTimer_.start(kShowDelayMs);
}

void OnboardingPopover::showNow(const QRect& anchor, std::optional<int> autoDismissMs) {
  QWidget* card = pending_;
  pending_ = nullptr;
  if (!card) return;
  QScreen* screen =
      anchor.isValid() ? QGuiApplication::screenAt(anchor.center()) : QGuiApplication::primaryScreen();
  if (!screen) screen = QGuiApplication::primaryScreen();
  if (!screen) {
    card->deleteLater();
    return;
  }
  floating_ = !anchor.isValid();
  const QRect frame = screen->geometry();
  const QRect available = screen->availableGeometry();
  const notch::Rect place = floating_ ? card_placement::floating(toRect(frame), available.top() - frame.top(),
                                                                 card->width(), card->height())
                                      : card_placement::belowAnchor(toRect(anchor), card->width(),
                                                                    card->height(), toRect(available));
  card->move(qRound(place.x), qRound(place.y));
  card_ = card;
  QPointer<OnboardingPopover> weak(this);
  // The window manager may close the card behind our back; forget it then.
  // (By the time `destroyed` comes, card_ no longer points at it; a card
  // shown since keeps its timer and its watch.)
  connect(card, &QObject::destroyed, this, [weak] {
    if (!weak || weak->card_) return;
    weak->autoDismiss_.stop();
    if (weak->clicks_) weak->clicks_->stop();
  });
  card->show();
  if (!(card->windowFlags() & Qt::WindowDoesNotAcceptFocus)) {
    // Focused, so that Return presses "Sign in" and Escape closes the card.
    card->activateWindow();
    if (signInButton_ && signInButton_->window() == card) signInButton_->setFocus();
  }
  watchOutsideClicks();
  if (autoDismissMs) autoDismiss_.start(*autoDismissMs);
}

void OnboardingPopover::watchOutsideClicks() {
  if (!clicks_) clicks_ = OutsideClickMonitor::create();
  if (clicks_->start([this](ScreenPoint where) { closeIfOutside(where); }) || toldNoClicks_) return;
  toldNoClicks_ = true;
  // Cards still close by their button, their timer or Escape.
  logLine("OnboardingPopover: no outside-click monitor (" + clicks_->unavailableReason() + ")");
}

void OnboardingPopover::closeIfOutside(ScreenPoint where) {
  if (card_ && !card_->frameGeometry().contains(QPoint(where.x, where.y))) dismiss();
}

void OnboardingPopover::dismiss() {
  autoDismiss_.stop();
  showTimer_.stop();
  if (clicks_) clicks_->stop();
  if (card_) card_->close();
  card_ = nullptr;
  floating_ = false;
}

}  // namespace pellum
