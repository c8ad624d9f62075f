#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pellum {

// The language-table code for an ISO 639 code as keyboard-layout databases
// give it: three-letter codes (terminological and bibliographic forms, and
// the individual-language codes layouts commonly use, such as "nob" or
// "pes"), or a two-letter code already in the table. Nothing for languages
// the table does not have.
std::optional<std::string> tableCodeForIso639(std::string_view code);

}  // namespace pellum
