#pragma once

#include <string_view>

namespace pellum {

// Whether `bytes` is well-formed UTF-8 (no overlong forms, no surrogates,
// nothing above U+10FFFF, no truncated sequence at the end).
bool isValidUtf8(std::string_view bytes);

}  // namespace pellum
