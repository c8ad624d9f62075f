#include "update/software_version.h"

#include <algorithm>
#include <cctype>
#include <vector>

namespace pellum {
namespace {

struct Part {
  bool number = false;
  std::string_view text;  // the digits (leading zeros dropped) or the letters
};

bool isDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }
bool isLetter(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }

std::vector<Part> partsOf(std::string_view version) {
  std::vector<Part> parts;
  std::size_t i = 0;
  while (i < version.size()) {
    const char c = version[i];
    if (!isDigit(c) && !isLetter(c)) {
      ++i;
      continue;
    }
    const bool number = isDigit(c);
    std::size_t end = i;
    while (end < version.size() && (number ? isDigit(version[end]) : isLetter(version[end]))) ++end;
    std::string_view text = version.substr(i, end - i);
    if (number) {
      while (text.size() > 1 && text.front() == '0') text.remove_prefix(1);
    }
    parts.push_back({number, text});
    i = end;
  }
  return parts;
}

int compareNumbers(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
  const int order = a.compare(b);
  return order < 0 ? -1 : (order > 0 ? 1 : 0);
}

int compareWords(std::string_view a, std::string_view b) {
  const auto lower = [](std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return out;
  };
  const int order = lower(a).compare(lower(b));
  return order < 0 ? -1 : (order > 0 ? 1 : 0);
}

// What an absent part is worth against `present`: a missing number is a
// zero; a letter run (a pre-release tag) is older than nothing at all.
int compareWithMissing(const Part& present) {
  if (present.number) return present.text == "0" ? 0 : 1;
  return -1;
}

}  // namespace

int compareVersions(std::string_view a, std::string_view b) {
  const auto left = partsOf(a);
  const auto right = partsOf(b);
  const std::size_t count = std::max(left.size(), right.size());
  for (std::size_t i = 0; i < count; ++i) {
    if (i >= left.size()) {
      if (const int order = compareWithMissing(right[i])) return -order;
      continue;
    }
    if (i >= right.size()) {
      if (const int order = compareWithMissing(left[i])) return order;
      continue;
    }
    const Part& l = left[i];
    const Part& r = right[i];
    if (l.number != r.number) return l.number ? 1 : -1;  // 2.0.1 is newer than 2.0b1
    const int order = l.number ? compareNumbers(l.text, r.text) : compareWords(l.text, r.text);
    if (order != 0) return order;
  }
  return 0;
}

bool isComparableVersion(std::string_view version) {
  return std::any_of(version.begin(), version.end(), isDigit);
}

}  // namespace pellum
