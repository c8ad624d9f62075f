#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pellum::server {

// The Apertium mode names a translation between two ISO 639-1 codes may be
// installed under, most likely first: packages name pairs with three-letter
// codes ("eng-spa"), two-letter ones ("en-gl") or a mix.
std::vector<std::string> apertiumModeNames(std::string_view from, std::string_view to);

}  // namespace pellum::server
