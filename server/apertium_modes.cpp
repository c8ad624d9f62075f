#include "apertium_modes.h"

#include <array>
#include <utility>

#include "live_request.h"
#include "translator.h"

namespace pellum::server {
namespace {

// The languages of Debian's English pairs and their common partners.
constexpr std::array<std::pair<std::string_view, std::string_view>, 18> kThreeLetter{{
    {"en", "eng"}, {"es", "spa"}, {"ca", "cat"}, {"gl", "glg"}, {"eo", "epo"}, {"eu", "eus"},
    {"is", "isl"}, {"mk", "mkd"}, {"hr", "hbs"}, {"sr", "hbs"}, {"bs", "hbs"}, {"fr", "fra"},
    {"pt", "por"}, {"it", "ita"}, {"de", "deu"}, {"nl", "nld"}, {"ro", "ron"}, {"oc", "oci"},
}};

std::string threeLetter(std::string_view code) {
  for (const auto& [two, three] : kThreeLetter) {
    if (two == code) return std::string(three);
  }
  return std::string(code);
}

}  // namespace

std::vector<std::string> apertiumModeNames(std::string_view from, std::string_view to) {
  const std::string from3 = threeLetter(from);
  const std::string to3 = threeLetter(to);
  std::vector<std::string> names;
  for (const std::string& name : {from3 + "-" + to3, std::string(from) + "-" + std::string(to),
                                  from3 + "-" + std::string(to), std::string(from) + "-" + to3}) {
    bool seen = false;
    for (const auto& existing : names) seen = seen || existing == name;
    if (!seen) names.push_back(name);
  }
  return names;
}

std::string missingPairText(std::string_view from, std::string_view to) {
  return "no translation pair for " + languageLabel(from) + " to " + languageLabel(to) + " is installed";
}

}  // namespace pellum::server
