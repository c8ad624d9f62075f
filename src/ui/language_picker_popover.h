#pragma once

#include <QPointer>
#include <QRect>
#include <functional>
#include <memory>
#include <optional>
#include <string>

class QWidget;

namespace pellum {

class LanguagePickerView;

// The searchable list of the 99 languages, in a small popup under the tray
// icon (or at the top centre of the screen when the tray's position is not
// known). Two uses: ticking the set of languages to guess from (saved at
// once to the preferences; the popup stays open) and picking one language
// (reported to the caller; the popup closes). A click elsewhere closes it.
//
// Main thread. One instance lives as long as the menu's owner.
class LanguagePickerPopover {
 public:
  using OnChange = std::function<void()>;
  using OnPick = std::function<void(const std::string& code)>;

  LanguagePickerPopover();
  ~LanguagePickerPopover();

  void showMultiSelect(const QRect& anchor, OnChange onChange);
  void showSingleSelect(const QRect& anchor, const std::optional<std::string>& current, OnPick onPick);
  void close();

  // The list currently shown, if any (for tests).
  LanguagePickerView* view() const;

 private:
  void present(LanguagePickerView* view, const QRect& anchor);

  QPointer<LanguagePickerView> view_;
  OnChange onChange_;
};

}  // namespace pellum
