#pragma once

#include <QWidget>
#include <functional>
#include <string>
#include <vector>

#include "ui/language_picker_model.h"

class QLineEdit;
class QListWidget;

namespace pellum {

// The picker's content: a search field over the list of languages, each row
// a tick, the name and the code. Main thread.
class LanguagePickerView : public QWidget {
 public:
  using OnSave = std::function<void(const std::vector<std::string>& codes)>;
  using OnPick = std::function<void(const std::string&)>;

  // Multi-select when `onPick` is empty, else single-select. In
  // multi-select every change of the ticked list goes to `onSave`.
  LanguagePickerView(LanguagePickerModel model, OnSave onSave, OnPick onPick);

  const LanguagePickerModel& model() const { return model_; }
  QLineEdit* searchField() const { return search_; }
  QListWidget* list() const { return list_; }

  // As a click on row `row` of the shown list does.
  void clickRow(int row);

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  void reload();

  LanguagePickerModel model_;
  OnSave onSave_;
  OnPick onPick_;
  QLineEdit* search_;
  QListWidget* list_;
};

}  // namespace pellum
