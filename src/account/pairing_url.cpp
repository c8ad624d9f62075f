#include "account/pairing_url.h"

namespace pellum {

std::string percentEncodeComponent(std::string_view text) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    const bool unreserved = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                            c == '-' || c == '.' || c == '_' || c == '~';
    if (unreserved) {
      out += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    out += '%';
    out += kHex[byte >> 4];
    out += kHex[byte & 15];
  }
  return out;
}

std::string appendPathComponent(std::string_view base, std::string_view component) {
  std::string out(base.substr(0, base.find_first_of("?#")));
  const std::size_t authority = out.find("://");
  const bool hasPath = authority != std::string::npos && out.find('/', authority + 3) != std::string::npos;
  if (!hasPath || out.back() != '/') out += '/';
  out += component;
  return out;
}

std::string pairingURL(std::string_view webBase, const PairingRequest& request) {
  std::string url = appendPathComponent(webBase, "devices/pair");
  url += "?code_challenge=" + percentEncodeComponent(request.challenge);
  url += "&state=" + percentEncodeComponent(request.state);
  url += "&device_name=" + percentEncodeComponent(request.deviceName);
  url += "&platform=" + percentEncodeComponent(request.platform);
  url += "&url_scheme=" + percentEncodeComponent(request.urlScheme);
  return url;
}

std::string exchangeURL(std::string_view webBase) {
  return appendPathComponent(webBase, "api/devices/exchange");
}

}  // namespace pellum
