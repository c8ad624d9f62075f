#include "transcription/language_value.h"

#include <algorithm>

namespace pellum {

std::string primaryLanguageSubtag(std::string_view tag) {
  while (!tag.empty()) {
    const auto dash = tag.find('-');
    std::string_view piece = tag.substr(0, dash);
    if (!piece.empty()) return std::string(piece);
    if (dash == std::string_view::npos) break;
    tag.remove_prefix(dash + 1);
  }
  return {};
}

std::vector<std::string> distinctPrimarySubtags(const std::vector<std::string>& tags) {
  std::vector<std::string> codes;
  for (const auto& tag : tags) {
    std::string code = primaryLanguageSubtag(tag);
    if (code.empty()) continue;
    if (std::find(codes.begin(), codes.end(), code) == codes.end()) codes.push_back(std::move(code));
  }
  if (codes.empty()) codes.emplace_back("en");
  return codes;
}

std::string primarySubtagOrEnglish(std::string_view tag) {
  std::string code = primaryLanguageSubtag(tag);
  return code.empty() ? std::string("en") : code;
}

std::string joinLanguageCodes(const std::vector<std::string>& codes) {
  std::string joined;
  for (const auto& code : codes) {
    if (!joined.empty()) joined += ',';
    joined += code;
  }
  return joined;
}

std::string requestLanguageValue(const LanguageInputs& inputs) {
  if (inputs.languageMode == "codeSwitching") {
    std::vector<std::string> codes;
    if (inputs.codeSwitchingLanguages && !inputs.codeSwitchingLanguages->empty()) {
      codes = *inputs.codeSwitchingLanguages;
    } else if (inputs.keyboardInputLanguages) {
      codes = inputs.keyboardInputLanguages();
    }
    return codes.empty() ? std::string("en") : joinLanguageCodes(codes);
  }
  return inputs.currentKeyboardLanguage ? inputs.currentKeyboardLanguage() : std::string("en");
}

}  // namespace pellum
