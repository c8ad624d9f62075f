#pragma once

#include <string>
#include <string_view>

namespace pellum {

// A string from the application's Info dictionary ("PellumTranscribeURL",
// "PellumWebURL", "SUFeedURL"): on macOS the bundle's Info.plist, read when
// asked (info_dictionary_mac.mm); on Linux the values fixed when the
// program was built (info_dictionary_linux.cpp). Empty when the key is
// absent or not a string.
//
// Any thread.
std::string infoString(std::string_view key);

}  // namespace pellum
