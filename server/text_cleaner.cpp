#include "text_cleaner.h"

#include "text_cleanup.h"

#include <array>
#include <cctype>
#include <optional>
#include <utility>
#include <vector>

namespace pellum::server {
namespace {

struct Item {
  bool isMark = false;
  std::string text;
};

std::string lowered(std::string_view word) {
  std::string out(word);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

std::vector<std::string> splitWords(std::string_view text) {
  std::vector<std::string> words;
  std::size_t at = 0;
  while (at < text.size()) {
    while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at]))) ++at;
    std::size_t end = at;
    while (end < text.size() && !std::isspace(static_cast<unsigned char>(text[end]))) ++end;
    if (end > at) words.emplace_back(text.substr(at, end - at));
    at = end;
  }
  return words;
}

constexpr std::array<std::pair<std::string_view, std::string_view>, 6> kTwoWordMarks{{
    {"question mark", "?"},
    {"exclamation mark", "!"},
    {"exclamation point", "!"},
    {"full stop", "."},
    {"new line", "\n"},
    {"new paragraph", "\n\n"},
}};

constexpr std::array<std::pair<std::string_view, std::string_view>, 5> kOneWordMarks{{
    {"comma", ","},
    {"period", "."},
    {"colon", ":"},
    {"semicolon", ";"},
    {"newline", "\n"},
}};

constexpr std::array<std::string_view, 7> kFillers{"um", "umm", "uh", "uhh", "er", "erm", "hmm"};

template <class Table>
std::optional<std::string_view> lookup(const Table& table, std::string_view key) {
  for (const auto& [spoken, mark] : table) {
    if (spoken == key) return mark;
  }
  return std::nullopt;
}

bool isFiller(std::string_view lower) {
  for (auto filler : kFillers) {
    if (filler == lower) return true;
  }
  return false;
}

// Words and spoken marks, fillers gone, stutters collapsed.
std::vector<Item> tokenize(const std::vector<std::string>& words) {
  std::vector<Item> items;
  std::string previousWord;  // lower case; empty after a mark
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string lower = lowered(words[i]);
    if (i + 1 < words.size()) {
      if (auto mark = lookup(kTwoWordMarks, lower + " " + lowered(words[i + 1]))) {
        items.push_back({true, std::string(*mark)});
        previousWord.clear();
        ++i;
        continue;
      }
    }
    if (auto mark = lookup(kOneWordMarks, lower)) {
      items.push_back({true, std::string(*mark)});
      previousWord.clear();
      continue;
    }
    if (isFiller(lower) || lower == previousWord) continue;
    items.push_back({false, words[i]});
    previousWord = lower;
  }
  return items;
}

bool isLineBreak(std::string_view mark) { return !mark.empty() && mark.front() == '\n'; }
bool isTerminal(std::string_view mark) { return mark == "." || mark == "?" || mark == "!"; }

std::string styledWord(const std::string& word, bool capitalize) {
  const std::string lower = lowered(word);
  std::string out = word;
  if (lower == "i" || lower.starts_with("i'")) out[0] = 'I';
  if (capitalize) out[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(out[0])));
  return out;
}

}  // namespace

std::string cleanTranscript(std::string_view raw) {
  const std::vector<Item> items = tokenize(splitWords(raw));
  std::string out;
  bool capitalize = true;
  bool lastWasWord = false;
  bool lastWasPunctuation = false;  // a mark that is not a line break
  bool anyWord = false;
  for (const Item& item : items) {
    if (!item.isMark) {
      if (lastWasWord || lastWasPunctuation) out.push_back(' ');
      out += styledWord(item.text, capitalize);
      capitalize = false;
      lastWasWord = true;
      lastWasPunctuation = false;
      anyWord = true;
      continue;
    }
    if (!anyWord) continue;  // nothing to attach a leading mark to
    if (isLineBreak(item.text)) {
      while (!out.empty() && out.back() == '\n') out.pop_back();
      out += item.text;
      capitalize = true;
      lastWasWord = lastWasPunctuation = false;
      continue;
    }
    if (lastWasPunctuation) out.pop_back();             // "comma period": the later mark wins
    if (!lastWasWord && !lastWasPunctuation) continue;  // a mark right after a line break
    out += item.text;
    capitalize = isTerminal(item.text);
    lastWasWord = false;
    lastWasPunctuation = true;
  }
  while (!out.empty() && out.back() == '\n') out.pop_back();
  if (out.empty()) return out;
  if (out.back() == ',' || out.back() == ':' || out.back() == ';') out.pop_back();
  if (!isTerminal(std::string_view(&out.back(), 1))) out.push_back('.');
  return out;
}

std::string BuiltInCleanup::clean(std::string_view verbatim) { return cleanTranscript(verbatim); }

}  // namespace pellum::server
