#pragma once

#include <string>
#include <vector>

namespace pellum {

// A keyboard layout as the window system names it, with the ISO 639 codes
// the layout database lists for it (variant first, then the base layout).
struct KeyboardLayout {
  std::string name;     // "us", "de", ...
  std::string variant;  // "", "nodeadkeys", ...
  std::vector<std::string> iso639Codes;
};

// The language-table code of a layout: its first ISO 639 code that the table
// has; empty when none does.
std::string layoutLanguage(const KeyboardLayout& layout);

// Each layout's language, once, in layout order; ["en"] when none has one.
std::vector<std::string> layoutLanguages(const std::vector<KeyboardLayout>& layouts);

// The language of layout `active`; "en" when it is out of range or has none.
std::string activeLayoutLanguage(const std::vector<KeyboardLayout>& layouts, int active);

// Splits a comma-separated list as _XKB_RULES_NAMES holds layouts and
// variants ("us,de" and ",nodeadkeys"), keeping empty fields.
std::vector<std::string> splitXkbList(const std::string& list);

}  // namespace pellum
