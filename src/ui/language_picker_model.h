#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "transcription/gladia_languages.h"

namespace pellum {

// What the language picker shows and does, without any widgets: the
// filtered list of the 99 languages, the ticked codes, and what a click on a
// row means in each of the two modes.
class LanguagePickerModel {
 public:
  enum class Mode { multiSelect, singleSelect };

  // What a click asks of the picker.
  struct Choice {
    bool beep = false;                                 // the last language cannot be removed
    std::optional<std::vector<std::string>> saveList;  // multi-select: the list to store, in table order
    std::optional<std::string> picked;                 // single-select: the code to report
  };

  // Multi-select starts from the code-switching list (stored, else the
  // keyboard languages); single-select from the current code, if any.
  LanguagePickerModel(Mode mode, const std::vector<std::string>& startingSelection);

  Mode mode() const { return mode_; }
  const std::vector<GladiaLanguages::Entry>& filtered() const { return filtered_; }
  const std::set<std::string>& selection() const { return selection_; }
  bool isSelected(std::string_view code) const { return selection_.contains(std::string(code)); }

  // Trims spaces and tabs, lower-cases, and keeps the entries (in table
  // order) whose lower-cased name, or else code, contains the text; all of
  // them for an empty text. No diacritic folding, no ranking.
  void applyFilter(std::string_view text);

  // A click on row `row` of the filtered list; nothing for a row outside it.
  std::optional<Choice> clickRow(int row);
  Choice choose(const std::string& code);

 private:
  Mode mode_;
  std::vector<GladiaLanguages::Entry> filtered_;
  std::set<std::string> selection_;
};

// The filter rule on its own.
std::vector<GladiaLanguages::Entry> filterLanguages(std::string_view text);

}  // namespace pellum
