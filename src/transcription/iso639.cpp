#include "transcription/iso639.h"

#include <algorithm>
#include <array>
#include <utility>

#include "transcription/gladia_languages.h"

namespace pellum {
namespace {

// Sorted by the three-letter code.
constexpr std::array<std::pair<std::string_view, std::string_view>, 136> kThreeLetter{{
    {"afr", "af"}, {"alb", "sq"}, {"als", "sq"}, {"amh", "am"}, {"ara", "ar"},  {"arb", "ar"}, {"arm", "hy"},
    {"asm", "as"}, {"aze", "az"}, {"azj", "az"}, {"bak", "ba"}, {"baq", "eu"},  {"bel", "be"}, {"ben", "bn"},
    {"bod", "bo"}, {"bos", "bs"}, {"bre", "br"}, {"bul", "bg"}, {"bur", "my"},  {"cat", "ca"}, {"ces", "cs"},
    {"chi", "zh"}, {"cmn", "zh"}, {"cym", "cy"}, {"cze", "cs"}, {"dan", "da"},  {"deu", "de"}, {"dut", "nl"},
    {"ekk", "et"}, {"ell", "el"}, {"eng", "en"}, {"est", "et"}, {"eus", "eu"},  {"fao", "fo"}, {"fas", "fa"},
    {"fil", "tl"}, {"fin", "fi"}, {"fra", "fr"}, {"fre", "fr"}, {"geo", "ka"},  {"ger", "de"}, {"glg", "gl"},
    {"gre", "el"}, {"guj", "gu"}, {"hat", "ht"}, {"hau", "ha"}, {"haw", "haw"}, {"heb", "he"}, {"hin", "hi"},
    {"hrv", "hr"}, {"hun", "hu"}, {"hye", "hy"}, {"ice", "is"}, {"ind", "id"},  {"isl", "is"}, {"ita", "it"},
    {"jav", "jw"}, {"jpn", "ja"}, {"kan", "kn"}, {"kat", "ka"}, {"kaz", "kk"},  {"khk", "mn"}, {"khm", "km"},
    {"kor", "ko"}, {"lao", "lo"}, {"lat", "la"}, {"lav", "lv"}, {"lin", "ln"},  {"lit", "lt"}, {"ltz", "lb"},
    {"lvs", "lv"}, {"mac", "mk"}, {"mal", "ml"}, {"mao", "mi"}, {"mar", "mr"},  {"may", "ms"}, {"mkd", "mk"},
    {"mlg", "mg"}, {"mlt", "mt"}, {"mon", "mn"}, {"mri", "mi"}, {"msa", "ms"},  {"mya", "my"}, {"nep", "ne"},
    {"nld", "nl"}, {"nno", "nn"}, {"nob", "no"}, {"nor", "no"}, {"npi", "ne"},  {"oci", "oc"}, {"pan", "pa"},
    {"pbt", "ps"}, {"per", "fa"}, {"pes", "fa"}, {"plt", "mg"}, {"pol", "pl"},  {"por", "pt"}, {"pus", "ps"},
    {"ron", "ro"}, {"rum", "ro"}, {"rus", "ru"}, {"san", "sa"}, {"sin", "si"},  {"slk", "sk"}, {"slo", "sk"},
    {"slv", "sl"}, {"sna", "sn"}, {"snd", "sd"}, {"som", "so"}, {"spa", "es"},  {"sqi", "sq"}, {"srp", "sr"},
    {"sun", "su"}, {"swa", "sw"}, {"swe", "sv"}, {"swh", "sw"}, {"tam", "ta"},  {"tat", "tt"}, {"tel", "te"},
    {"tgk", "tg"}, {"tgl", "tl"}, {"tha", "th"}, {"tib", "bo"}, {"tuk", "tk"},  {"tur", "tr"}, {"ukr", "uk"},
    {"urd", "ur"}, {"uzb", "uz"}, {"uzn", "uz"}, {"vie", "vi"}, {"wel", "cy"},  {"ydd", "yi"}, {"yid", "yi"},
    {"yor", "yo"}, {"zho", "zh"}, {"zsm", "ms"},
}};

}  // namespace

std::optional<std::string> tableCodeForIso639(std::string_view code) {
  if (code.size() == 2) {
    if (GladiaLanguages::languagesByCode().contains(code)) return std::string(code);
    return std::nullopt;
  }
  const auto it = std::lower_bound(kThreeLetter.begin(), kThreeLetter.end(), code,
                                   [](const auto& row, std::string_view key) { return row.first < key; });
  if (it == kThreeLetter.end() || it->first != code) return std::nullopt;
  return std::string(it->second);
}

}  // namespace pellum
