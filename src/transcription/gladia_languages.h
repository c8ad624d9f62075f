#pragma once

#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

namespace pellum {

// The languages the streaming provider accepts, with the provider's own codes
// (Javanese is "jw", Hebrew "he", Norwegian "no" beside Nynorsk "nn").
namespace GladiaLanguages {

struct Entry {
  std::string_view code;  // lower case; two letters except "haw"
  std::string_view name;  // English display name

  bool operator==(const Entry&) const = default;
};

// The 99 entries, in alphabetical order of name.
std::span<const Entry> allLanguages();

// Code to entry, built once on first use.
const std::unordered_map<std::string_view, Entry>& languagesByCode();

// The name of the entry whose code equals `code` exactly, else `code`
// upper-cased ("xx" gives "XX"; "EN" stays "EN").
std::string displayName(std::string_view code);

}  // namespace GladiaLanguages
}  // namespace pellum
