#include "transcription/keyboard_layout_languages.h"

#include "transcription/iso639.h"
#include "transcription/language_value.h"

namespace pellum {

std::string layoutLanguage(const KeyboardLayout& layout) {
  for (const auto& code : layout.iso639Codes) {
    if (auto tableCode = tableCodeForIso639(code)) return *tableCode;
  }
  return {};
}

std::vector<std::string> layoutLanguages(const std::vector<KeyboardLayout>& layouts) {
  std::vector<std::string> languages;
  languages.reserve(layouts.size());
  for (const auto& layout : layouts) languages.push_back(layoutLanguage(layout));
  return distinctPrimarySubtags(languages);
}

std::string activeLayoutLanguage(const std::vector<KeyboardLayout>& layouts, int active) {
  if (active < 0 || static_cast<std::size_t>(active) >= layouts.size()) return "en";
  return primarySubtagOrEnglish(layoutLanguage(layouts[static_cast<std::size_t>(active)]));
}

std::vector<std::string> splitXkbList(const std::string& list) {
  std::vector<std::string> fields;
  std::size_t start = 0;
  while (true) {
    const auto comma = list.find(',', start);
    fields.push_back(list.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  return fields;
}

}  // namespace pellum
