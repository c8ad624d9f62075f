#include "log_text.h"

namespace pellum::server {
namespace {

void appendHex(std::string& out, unsigned char byte) {
  constexpr char kDigits[] = "0123456789abcdef";
  out += "\\x";
  out.push_back(kDigits[byte >> 4]);
  out.push_back(kDigits[byte & 0x0F]);
}

// The length of the well-formed UTF-8 sequence at the start of `text`, or 0.
std::size_t sequenceLength(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  std::size_t length = 0;
  unsigned int minimum = 0;
  unsigned int code = 0;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2, minimum = 0x80, code = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3, minimum = 0x800, code = lead & 0x0F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4, minimum = 0x10000, code = lead & 0x07;
  } else {
    return 0;
  }
  if (text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0) != 0x80) return 0;
    code = (code << 6) | (next & 0x3F);
  }
  if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return 0;
  // C1 controls: some terminals act on U+009B as on ESC [.
  if (code >= 0x80 && code <= 0x9F) return 0;
  return length;
}

}  // namespace

std::string escapeForLog(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const auto byte = static_cast<unsigned char>(text[0]);
    if (byte >= 0x80) {
      if (const std::size_t length = sequenceLength(text)) {
        out.append(text.substr(0, length));
        text.remove_prefix(length);
        continue;
      }
      appendHex(out, byte);
    } else if (byte == '\\') {
      out += "\\\\";
    } else if (byte == '\n') {
      out += "\\n";
    } else if (byte == '\r') {
      out += "\\r";
    } else if (byte == '\t') {
      out += "\\t";
    } else if (byte < 0x20 || byte == 0x7F) {
      appendHex(out, byte);
    } else {
      out.push_back(static_cast<char>(byte));
    }
    text.remove_prefix(1);
  }
  return out;
}

}  // namespace pellum::server
