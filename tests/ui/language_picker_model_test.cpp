#include "ui/language_picker_model.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

std::vector<std::string> names(const std::vector<GladiaLanguages::Entry>& entries) {
  std::vector<std::string> out;
  for (const auto& entry : entries) out.emplace_back(entry.name);
  return out;
}

TEST(LanguagePickerFilter, EnMatchesNamesAndTheCodeInTableOrder) {
  const auto found = names(filterLanguages("en"));
  EXPECT_EQ(found.front(), "Armenian");
  EXPECT_NE(std::find(found.begin(), found.end(), "English"), found.end());
  EXPECT_NE(std::find(found.begin(), found.end(), "Slovenian"), found.end());
  EXPECT_NE(std::find(found.begin(), found.end(), "Bengali"), found.end());
  // Every entry listed contains "en" in its name or code, and table order holds.
  for (const auto& entry : filterLanguages("en")) {
    std::string name(entry.name);
    for (auto& c : name) c = static_cast<char>(std::tolower(c));
    EXPECT_TRUE(name.find("en") != std::string::npos || entry.code.find("en") != std::string::npos)
        << entry.name;
  }
  EXPECT_TRUE(std::is_sorted(found.begin(), found.end()));
}

TEST(LanguagePickerFilter, BlanksAroundUpperCaseTextAreIgnored) {
  EXPECT_EQ(names(filterLanguages(" FR ")), (std::vector<std::string>{"Afrikaans", "French"}));
  EXPECT_EQ(names(filterLanguages("\tfr\t")), (std::vector<std::string>{"Afrikaans", "French"}));
}

TEST(LanguagePickerFilter, AccentedLettersMatchOnlyNamesThatContainThem) {
  EXPECT_TRUE(filterLanguages("\xC3\xA9").empty());  // é: no English name has one
  EXPECT_FALSE(filterLanguages("e").empty());
}

TEST(LanguagePickerFilter, EmptyTextListsAll) {
  EXPECT_EQ(filterLanguages("").size(), 99u);
  EXPECT_EQ(filterLanguages("   ").size(), 99u);
}

TEST(LanguagePickerModel, OnlyTickedLanguageBeepsAndStays) {
  LanguagePickerModel model(LanguagePickerModel::Mode::multiSelect, {"en"});
  const auto choice = model.choose("en");
  EXPECT_TRUE(choice.beep);
  EXPECT_FALSE(choice.saveList);
  EXPECT_TRUE(model.isSelected("en"));
}

TEST(LanguagePickerModel, TickingSpanishThenAfrikaansSavesTableOrder) {
  LanguagePickerModel model(LanguagePickerModel::Mode::multiSelect, {"en"});
  EXPECT_EQ(model.choose("es").saveList, (std::vector<std::string>{"en", "es"}));
  EXPECT_EQ(model.choose("af").saveList, (std::vector<std::string>{"af", "en", "es"}));
}

TEST(LanguagePickerModel, UntickingSaves) {
  LanguagePickerModel model(LanguagePickerModel::Mode::multiSelect, {"en", "de"});
  EXPECT_EQ(model.choose("en").saveList, (std::vector<std::string>{"de"}));
}

TEST(LanguagePickerModel, SingleSelectReportsTheCodeAndSavesNothing) {
  LanguagePickerModel model(LanguagePickerModel::Mode::singleSelect, {"de"});
  EXPECT_TRUE(model.isSelected("de"));
  const auto choice = model.choose("fr");
  EXPECT_EQ(choice.picked, "fr");
  EXPECT_FALSE(choice.saveList);
  EXPECT_FALSE(choice.beep);
}

TEST(LanguagePickerModel, RowsOutsideTheFilteredListAreIgnored) {
  LanguagePickerModel model(LanguagePickerModel::Mode::singleSelect, {});
  model.applyFilter("french");
  EXPECT_EQ(model.clickRow(1), std::nullopt);
  EXPECT_EQ(model.clickRow(-1), std::nullopt);
  EXPECT_EQ(model.clickRow(0)->picked, "fr");
}

}  // namespace
}  // namespace pellum
