#include "ui/language_picker_popover.h"

#include <QGuiApplication>
#include <QScreen>
#include <QShortcut>
#include <cstdio>

#include "base/log_line.h"
#include "ui/language_picker_view.h"

namespace pellum {

LanguagePickerPopover::LanguagePickerPopover() = default;

LanguagePickerPopover::~LanguagePickerPopover() { close(); }

LanguagePickerView* LanguagePickerPopover::view() const { return view_; }

void LanguagePickerPopover::showMultiSelect(const QRect& anchor, std::vector<std::string> selected,
                                            OnSave onSave) {
  onSave_ = std::move(onSave);
  LanguagePickerModel model(LanguagePickerModel::Mode::multiSelect, std::move(selected));
  present(new LanguagePickerView(std::move(model),
                                 [this](const std::vector<std::string>& codes) {
                                   if (onSave_) onSave_(codes);
                                 },
                                 {}),
          anchor);
}

void LanguagePickerPopover::showSingleSelect(const QRect& anchor, const std::optional<std::string>& current,
                                             OnPick onPick) {
  std::vector<std::string> selection;
  if (current) selection.push_back(*current);
  LanguagePickerModel model(LanguagePickerModel::Mode::singleSelect, selection);
  present(new LanguagePickerView(std::move(model), {},
                                 [this, onPick = std::move(onPick)](const std::string& code) {
                                   if (onPick) onPick(code);
                                   close();
                                 }),
          anchor);
}

void LanguagePickerPopover::close() {
  if (clicks_) clicks_->stop();
  if (view_) view_->close();
  view_ = nullptr;
  onSave_ = nullptr;
}

void LanguagePickerPopover::present(LanguagePickerView* view, const QRect& anchor) {
  if (view_) view_->close();
  view_ = view;
  // Below the anchor, centred on it, kept on its screen.
  QRect target = anchor;
  if (!target.isValid()) {
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    target = QRect(screen.center().x(), screen.top(), 0, 0);
  }
  QPoint topLeft(target.center().x() - view->width() / 2, target.bottom() + 4);
  if (QScreen* screen = QGuiApplication::screenAt(target.center())) {
    const QRect area = screen->availableGeometry();
    topLeft.setX(std::clamp(topLeft.x(), area.left(), area.right() - view->width()));
    if (topLeft.y() + view->height() > area.bottom()) topLeft.setY(target.top() - view->height() - 4);
  }
  view->move(topLeft);
  auto* escape = new QShortcut(QKeySequence(Qt::Key_Escape), view);
  QObject::connect(escape, &QShortcut::activated, &lifetime_, [this] { close(); });
  // The window manager may close the list behind our back; by the time
  // `destroyed` comes, view_ no longer points at it (a list shown since
  // keeps its watch).
  QObject::connect(view, &QObject::destroyed, &lifetime_, [this] {
    if (!view_ && clicks_) clicks_->stop();
  });
  view->show();
  // Focused, so that typing goes to the search field.
  view->activateWindow();
  watchOutsideClicks();
}

void LanguagePickerPopover::watchOutsideClicks() {
  if (!clicks_) clicks_ = OutsideClickMonitor::create();
  const bool watching = clicks_->start([this](ScreenPoint where) {
    if (view_ && !view_->frameGeometry().contains(QPoint(where.x, where.y))) close();
  });
  if (watching || toldNoClicks_) return;
  toldNoClicks_ = true;
  // The list still closes on Escape or a pick.
  logLine("LanguagePickerPopover: no outside-click monitor (" + clicks_->unavailableReason() + ")");
}

}  // namespace pellum
