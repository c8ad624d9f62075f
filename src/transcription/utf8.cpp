#include "transcription/utf8.h"

#include <cstdint>

namespace pellum {

bool isValidUtf8(std::string_view bytes) {
  std::size_t i = 0;
  const std::size_t n = bytes.size();
  while (i < n) {
    const auto lead = static_cast<std::uint8_t>(bytes[i]);
    if (lead < 0x80) {
      ++i;
      continue;
    }
    std::size_t length = 0;
    std::uint8_t low = 0x80;
    std::uint8_t high = 0xBF;  // allowed range of the second byte
    if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3;
      if (lead == 0xE0) low = 0xA0;   // no overlong forms
      if (lead == 0xED) high = 0x9F;  // no surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4;
      if (lead == 0xF0) low = 0x90;   // no overlong forms
      if (lead == 0xF4) high = 0x8F;  // nothing above U+10FFFF
    } else {
      return false;
    }
    if (i + length > n) return false;
    const auto second = static_cast<std::uint8_t>(bytes[i + 1]);
    if (second < low || second > high) return false;
    for (std::size_t k = 2; k < length; ++k) {
      const auto next = static_cast<std::uint8_t>(bytes[i + k]);
      if (next < 0x80 || next > 0xBF) return false;
    }
    i += length;
  }
  return true;
}

}  // namespace pellum
