#pragma once

#include <QPointer>
#include <QRect>
#include <QTimer>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <QPushButton>

#include "ui/outside_click_monitor.h"

namespace pellum {

// A drawn key cap showing the dictation key's short name ("ctrl", "fn").
class KeyCapView : public QWidget {
 public:
  KeyCapView(const QString& label, QWidget* parent);

  const QString& label() const { return label_; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QString label_;
};

// The two first-run cards: the sign-in prompt and the key hint. One card at
// a time, shown under the tray icon, or, when the desktop does not say where
// the icon is, as a rounded panel centred at the top of the screen. A card
// closes on a left or right click outside it, on its own button, on Escape
// (the sign-in prompt), or (the key hint) by itself after 5 seconds.
//
// A card is a tool window that grabs nothing: a popup's keyboard grab would
// swallow the dictation key that the key hint tells the user to hold. An
// OutsideClickMonitor stands in for the popup's close-on-outside-click.
//
// Main thread. Pending timers hold the popover weakly.
class OnboardingPopover : public QObject {
 public:
  // How long the card waits before it shows, so the menu and the tray
  // settle first.
  static constexpr int kShowDelayMs = 300;

  OnboardingPopover();
  ~OnboardingPopover() override;

  // "Welcome to Pellum": the button closes the card, then calls `onSignIn`.
  void showSignInPrompt(const QRect& anchor, std::function<void()> onSignIn);
  // "You're signed in" with the key cap, closing itself after `autoDismissMs`.
  void showKeyHint(const QRect& anchor, const QString& keyCapName, int autoDismissMs = 5000);
  void dismiss();

  // The card shown now, if any (for tests).
  QWidget* card() const { return card_; }
  bool isFloating() const { return floating_; }
  QPushButton* signInButton() const { return signInButton_; }
  bool isAutoDismissPending() const { return autoDismiss_.isActive(); }

 private:
  void present(QWidget* card, const QRect& anchor, std::optional<int> autoDismissMs);
  void showNow(const QRect& anchor, std::optional<int> autoDismissMs);
  void watchOutsideClicks();
  void closeIfOutside(ScreenPoint where);

  QPointer<QWidget> card_;
  QPointer<QWidget> pending_;
  QPointer<QPushButton> signInButton_;
  bool floating_ = false;
  QTimer autoDismiss_;
  QTimer showTimer_;
  std::unique_ptr<OutsideClickMonitor> clicks_;  // made on the first card shown
  bool toldNoClicks_ = false;
};

}  // namespace pellum
