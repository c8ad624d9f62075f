#pragma once

#include <QWidget>
#include <functional>

#include "ui/language_picker_model.h"

class QLineEdit;
class QListWidget;

namespace pellum {

// The picker's content: a search field over the list of languages, each row
// a tick, the name and the code. Main thread.
class LanguagePickerView : public QWidget {
 public:
  using OnChange = std::function<void()>;
  using OnPick = std::function<void(const std::string&)>;

  // Multi-select when `onPick` is empty, else single-select.
  LanguagePickerView(LanguagePickerModel model, OnChange onChange, OnPick onPick);

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
  OnChange onChange_;
  OnPick onPick_;
  QLineEdit* search_;
  QListWidget* list_;
};

}  // namespace pellum
