#pragma once

#include <QPointer>
#include <QRect>
#include <QTimer>
#include <QWidget>
#include <functional>
#include <optional>
#include <string>

#include <QPushButton>

namespace pellum {

// A drawn key cap showing the dictation key's short name ("ctrl", "fn").
class KeyCapView : public QWidget {
 public:
  KeyCapView(const QString& label, QWidget* parent);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QString label_;
};

// The two first-run cards: the sign-in prompt and the key hint. One card at
// a time, shown as a popup under the tray icon, or, when the desktop does
// not say where the icon is, as a rounded panel centred at the top of the
// screen. A card closes on a click outside it, on its own button, or (the
// key hint) by itself after 5 seconds.
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

 private:
  void present(QWidget* card, const QRect& anchor, std::optional<int> autoDismissMs);
  void showNow(const QRect& anchor, std::optional<int> autoDismissMs);

  QPointer<QWidget> card_;
  QPointer<QWidget> pending_;
  QPointer<QPushButton> signInButton_;
  bool floating_ = false;
  QTimer autoDismiss_;
  QTimer showTimer_;
};

}  // namespace pellum
