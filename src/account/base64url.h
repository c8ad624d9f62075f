#pragma once

#include <string>
#include <string_view>

namespace pellum {

// Unpadded URL-safe Base64 of `bytes`, made the way the pairing protocol
// fixes it: standard Base64 without line breaks, then every "+" becomes
// "-", every "/" becomes "_", and every "=" is dropped.
std::string base64UrlEncode(std::string_view bytes);

}  // namespace pellum
