#include "transcription/gladia_languages.h"

#include <array>
#include <cassert>

namespace pellum::GladiaLanguages {
namespace {

constexpr std::array<Entry, 99> kLanguages{{
    {"af", "Afrikaans"}, {"sq", "Albanian"},   {"am", "Amharic"},        {"ar", "Arabic"},
    {"hy", "Armenian"},  {"as", "Assamese"},   {"az", "Azerbaijani"},    {"ba", "Bashkir"},
    {"eu", "Basque"},    {"be", "Belarusian"}, {"bn", "Bengali"},        {"bs", "Bosnian"},
    {"br", "Breton"},    {"bg", "Bulgarian"},  {"ca", "Catalan"},        {"zh", "Chinese"},
    {"hr", "Croatian"},  {"cs", "Czech"},      {"da", "Danish"},         {"nl", "Dutch"},
    {"en", "English"},   {"et", "Estonian"},   {"fo", "Faroese"},        {"fi", "Finnish"},
    {"fr", "French"},    {"gl", "Galician"},   {"ka", "Georgian"},       {"de", "German"},
    {"el", "Greek"},     {"gu", "Gujarati"},   {"ht", "Haitian Creole"}, {"ha", "Hausa"},
    {"haw", "Hawaiian"}, {"he", "Hebrew"},     {"hi", "Hindi"},          {"hu", "Hungarian"},
    {"is", "Icelandic"}, {"id", "Indonesian"}, {"it", "Italian"},        {"ja", "Japanese"},
    {"jw", "Javanese"},  {"kn", "Kannada"},    {"kk", "Kazakh"},         {"km", "Khmer"},
    {"ko", "Korean"},    {"lo", "Lao"},        {"la", "Latin"},          {"lv", "Latvian"},
    {"ln", "Lingala"},   {"lt", "Lithuanian"}, {"lb", "Luxembourgish"},  {"mk", "Macedonian"},
    {"mg", "Malagasy"},  {"ms", "Malay"},      {"ml", "Malayalam"},      {"mt", "Maltese"},
    {"mi", "Maori"},     {"mr", "Marathi"},    {"mn", "Mongolian"},      {"my", "Myanmar"},
    {"ne", "Nepali"},    {"no", "Norwegian"},  {"nn", "Nynorsk"},        {"oc", "Occitan"},
    {"ps", "Pashto"},    {"fa", "Persian"},    {"pl", "Polish"},         {"pt", "Portuguese"},
    {"pa", "Punjabi"},   {"ro", "Romanian"},   {"ru", "Russian"},        {"sa", "Sanskrit"},
    {"sr", "Serbian"},   {"sn", "Shona"},      {"sd", "Sindhi"},         {"si", "Sinhala"},
    {"sk", "Slovak"},    {"sl", "Slovenian"},  {"so", "Somali"},         {"es", "Spanish"},
    {"su", "Sundanese"}, {"sw", "Swahili"},    {"sv", "Swedish"},        {"tl", "Tagalog"},
    {"tg", "Tajik"},     {"ta", "Tamil"},      {"tt", "Tatar"},          {"te", "Telugu"},
    {"th", "Thai"},      {"bo", "Tibetan"},    {"tr", "Turkish"},        {"tk", "Turkmen"},
    {"uk", "Ukrainian"}, {"ur", "Urdu"},       {"uz", "Uzbek"},          {"vi", "Vietnamese"},
    {"cy", "Welsh"},     {"yi", "Yiddish"},    {"yo", "Yoruba"},
}};

}  // namespace

std::span<const Entry> allLanguages() { return kLanguages; }

const std::unordered_map<std::string_view, Entry>& languagesByCode() {
  static const auto byCode = [] {
    std::unordered_map<std::string_view, Entry> map;
    for (const Entry& entry : kLanguages) {
      [[maybe_unused]] const bool inserted = map.emplace(entry.code, entry).second;
      assert(inserted && "duplicate language code");
    }
    return map;
  }();
  return byCode;
}

std::string displayName(std::string_view code) {
  const auto& byCode = languagesByCode();
  if (auto it = byCode.find(code); it != byCode.end()) return std::string(it->second.name);
  std::string upper(code);
  for (char& c : upper) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return upper;
}

}  // namespace pellum::GladiaLanguages
