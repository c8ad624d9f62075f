#pragma once

#include <QObject>
#include <QPointer>
#include <QRect>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ui/outside_click_monitor.h"

class QWidget;

namespace pellum {

class LanguagePickerView;

// The searchable list of the 99 languages, in a small window under the tray
// icon (or at the top centre of the screen when the tray's position is not
// known). Two uses: ticking the set of languages to guess from (every change
// handed to the caller at once, to be saved; the list stays open) and
// picking one language (reported to the caller; the list closes). A left or right click
// elsewhere, or Escape, closes it. Like the onboarding cards it grabs
// nothing, so the dictation key works while it is open.
//
// Main thread. One instance lives as long as the menu's owner.
class LanguagePickerPopover {
 public:
  using OnSave = std::function<void(const std::vector<std::string>& codes)>;
  using OnPick = std::function<void(const std::string& code)>;

  LanguagePickerPopover();
  ~LanguagePickerPopover();

  // Ticks `selected`; each tick or untick hands the whole new list to
  // `onSave`.
  void showMultiSelect(const QRect& anchor, std::vector<std::string> selected, OnSave onSave);
  void showSingleSelect(const QRect& anchor, const std::optional<std::string>& current, OnPick onPick);
  void close();

  // The list currently shown, if any (for tests).
  LanguagePickerView* view() const;

 private:
  void present(LanguagePickerView* view, const QRect& anchor);
  void watchOutsideClicks();

  QPointer<LanguagePickerView> view_;
  OnSave onSave_;
  std::unique_ptr<OutsideClickMonitor> clicks_;  // made on the first showing
  bool toldNoClicks_ = false;
  QObject lifetime_;  // ends the view's hooks into this object with it
};

}  // namespace pellum
