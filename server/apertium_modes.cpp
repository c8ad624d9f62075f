#include "apertium_modes.h"

#include <array>
#include <cctype>
#include <utility>

#include "live_request.h"
#include "translator.h"

namespace pellum::server {
namespace {

// The languages of Debian's English pairs and their common partners.
constexpr std::array<std::pair<std::string_view, std::string_view>, 18> kThreeLetter{{
    {"en", "eng"},
    {"es", "spa"},
    {"ca", "cat"},
    {"gl", "glg"},
    {"eo", "epo"},
    {"eu", "eus"},
    {"is", "isl"},
    {"mk", "mkd"},
    {"hr", "hbs"},
    {"sr", "hbs"},
    {"bs", "hbs"},
    {"fr", "fra"},
    {"pt", "por"},
    {"it", "ita"},
    {"de", "deu"},
    {"nl", "nld"},
    {"ro", "ron"},
    {"oc", "oci"},
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

std::string nullFlushPipeline(std::string_view modeFile) {
  // The tools that take -z; the mode files of Debian's pairs use no others.
  constexpr std::array<std::string_view, 9> kTools{
      "lt-proc",        "apertium-tagger",     "apertium-pretransfer", "apertium-transfer",
      "lrx-proc",       "apertium-interchunk", "apertium-postchunk",   "cg-proc",
      "apertium-lextor"};
  std::string pipeline;
  std::size_t at = 0;
  while (at <= modeFile.size()) {
    std::size_t bar = modeFile.find('|', at);
    if (bar == std::string_view::npos) bar = modeFile.size();
    std::string stage(modeFile.substr(at, bar - at));
    while (!stage.empty() && std::isspace(static_cast<unsigned char>(stage.front()))) stage.erase(0, 1);
    while (!stage.empty() && std::isspace(static_cast<unsigned char>(stage.back()))) stage.pop_back();
    for (auto [from, to] : {std::pair{"$1", "-n"}, std::pair{"$2", ""}}) {
      for (auto pos = stage.find(from); pos != std::string::npos; pos = stage.find(from))
        stage.replace(pos, 2, to);
    }
    const std::string tool = stage.substr(0, stage.find(' '));
    for (auto known : kTools) {
      if (tool == known) stage.insert(tool.size(), " -z");
    }
    if (!stage.empty()) pipeline += (pipeline.empty() ? "" : " | ") + stage;
    at = bar + 1;
  }
  return pipeline;
}

std::string apertiumEscape(std::string_view text) {
  constexpr std::string_view kSpecial = "[]^$/\\@<>{}*#+~|";
  std::string out;
  for (char c : text) {
    if (c == '\0') continue;  // ends a text in a null-flushing pipeline
    if (kSpecial.find(c) != std::string_view::npos) out.push_back('\\');
    out.push_back(c);
  }
  return out;
}

std::string apertiumUnescape(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 1 < text.size()) ++i;
    out.push_back(text[i]);
  }
  return out;
}

std::string missingPairText(std::string_view from, std::string_view to) {
  return "no translation pair for " + languageLabel(from) + " to " + languageLabel(to) + " is installed";
}

}  // namespace pellum::server
