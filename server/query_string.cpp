#include "query_string.h"

#include "transcription/url_text.h"

namespace pellum::server {

std::string percentDecode(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '+') {
      out.push_back(' ');
    } else if (c == '%' && i + 2 < text.size() && hexDigitValue(text[i + 1]) >= 0 &&
               hexDigitValue(text[i + 2]) >= 0) {
      out.push_back(static_cast<char>(hexDigitValue(text[i + 1]) * 16 + hexDigitValue(text[i + 2])));
      i += 2;
    } else {
      out.push_back(c);
    }
  }
  return out;
}

std::string percentEncode(std::string_view text) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (char c : text) {
    const bool unreserved = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                            c == '-' || c == '.' || c == '_' || c == '~';
    if (unreserved) {
      out.push_back(c);
    } else {
      const auto byte = static_cast<unsigned char>(c);
      out.push_back('%');
      out.push_back(kHex[byte >> 4]);
      out.push_back(kHex[byte & 15]);
    }
  }
  return out;
}

QueryItems parseQuery(std::string_view query) {
  QueryItems items;
  while (!query.empty()) {
    const std::size_t amp = query.find('&');
    const std::string_view pair = query.substr(0, amp);
    query = amp == std::string_view::npos ? std::string_view{} : query.substr(amp + 1);
    if (pair.empty()) continue;
    const std::size_t eq = pair.find('=');
    const std::string key = percentDecode(pair.substr(0, eq));
    const std::string value =
        eq == std::string_view::npos ? std::string{} : percentDecode(pair.substr(eq + 1));
    items.try_emplace(key, value);
  }
  return items;
}

RequestTarget parseTarget(std::string_view target) {
  const std::size_t question = target.find('?');
  RequestTarget out;
  out.path = std::string(target.substr(0, question));
  if (question != std::string_view::npos) out.query = parseQuery(target.substr(question + 1));
  return out;
}

std::optional<std::string_view> item(const QueryItems& items, std::string_view key) {
  const auto found = items.find(key);
  if (found == items.end()) return std::nullopt;
  return found->second;
}

}  // namespace pellum::server
