#include "ui/language_picker_model.h"

#include <cctype>

#include "base/text.h"

namespace pellum {
namespace {

// ASCII lower-casing: UTF-8 letters outside ASCII are left alone, so an
// accented letter only ever matches itself.
std::string lowered(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

}  // namespace

std::vector<GladiaLanguages::Entry> filterLanguages(std::string_view text) {
  const std::string needle = lowered(trimBlanks(text));
  const auto all = GladiaLanguages::allLanguages();
  std::vector<GladiaLanguages::Entry> out;
  for (const auto& entry : all) {
    if (needle.empty() || lowered(entry.name).find(needle) != std::string::npos ||
        lowered(entry.code).find(needle) != std::string::npos) {
      out.push_back(entry);
    }
  }
  return out;
}

LanguagePickerModel::LanguagePickerModel(Mode mode, const std::vector<std::string>& startingSelection)
    : mode_(mode),
      filtered_(filterLanguages("")),
      selection_(startingSelection.begin(), startingSelection.end()) {}

void LanguagePickerModel::applyFilter(std::string_view text) { filtered_ = filterLanguages(text); }

std::optional<LanguagePickerModel::Choice> LanguagePickerModel::clickRow(int row) {
  if (row < 0 || static_cast<std::size_t>(row) >= filtered_.size()) return std::nullopt;
  return choose(std::string(filtered_[static_cast<std::size_t>(row)].code));
}

LanguagePickerModel::Choice LanguagePickerModel::choose(const std::string& code) {
  Choice choice;
  if (mode_ == Mode::singleSelect) {
    choice.picked = code;
    return choice;
  }
  if (selection_.contains(code)) {
    if (selection_.size() < 2) {
      choice.beep = true;
      return choice;
    }
    selection_.erase(code);
  } else {
    selection_.insert(code);
  }
  std::vector<std::string> ordered;
  for (const auto& entry : GladiaLanguages::allLanguages()) {
    if (selection_.contains(std::string(entry.code))) ordered.emplace_back(entry.code);
  }
  choice.saveList = std::move(ordered);
  return choice;
}

}  // namespace pellum
