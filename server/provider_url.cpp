#include "provider_url.h"

#include <charconv>

namespace pellum::server {
namespace {

std::optional<bool> tlsOfScheme(std::string_view scheme) {
  if (scheme == "https" || scheme == "wss") return true;
  if (scheme == "http" || scheme == "ws") return false;
  return std::nullopt;
}

bool isPort(std::string_view text) {
  unsigned value = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  return ec == std::errc{} && end == text.data() + text.size() && value > 0 && value <= 65535;
}

}  // namespace

std::string ProviderUrl::target() const {
  std::string line = path.empty() ? "/" : path;
  if (!query.empty()) line += "?" + query;
  return line;
}

std::string ProviderUrl::hostHeader() const {
  const bool defaultPort = port == (tls ? "443" : "80");
  const std::string name = host.find(':') != std::string::npos ? "[" + host + "]" : host;
  return defaultPort ? name : name + ":" + port;
}

std::optional<ProviderUrl> parseProviderUrl(std::string_view url) {
  const std::size_t schemeEnd = url.find("://");
  if (schemeEnd == std::string_view::npos) return std::nullopt;
  const auto tls = tlsOfScheme(url.substr(0, schemeEnd));
  if (!tls || url.find('#') != std::string_view::npos) return std::nullopt;
  ProviderUrl parsed;
  parsed.tls = *tls;
  std::string_view rest = url.substr(schemeEnd + 3);
  const std::size_t authorityEnd = rest.find_first_of("/?");
  std::string_view authority = rest.substr(0, authorityEnd);
  rest = authorityEnd == std::string_view::npos ? std::string_view() : rest.substr(authorityEnd);
  if (authority.empty() || authority.find('@') != std::string_view::npos) return std::nullopt;
  std::string_view port;
  if (authority.front() == '[') {
    const std::size_t close = authority.find(']');
    if (close == std::string_view::npos) return std::nullopt;
    parsed.host = std::string(authority.substr(1, close - 1));
    const std::string_view after = authority.substr(close + 1);
    if (!after.empty() && (after.front() != ':' || (port = after.substr(1)).empty())) return std::nullopt;
  } else {
    const std::size_t colon = authority.find(':');
    parsed.host = std::string(authority.substr(0, colon));
    if (colon != std::string_view::npos && (port = authority.substr(colon + 1)).empty()) return std::nullopt;
  }
  if (parsed.host.empty() || (!port.empty() && !isPort(port))) return std::nullopt;
  parsed.port = port.empty() ? (parsed.tls ? "443" : "80") : std::string(port);
  const std::size_t queryStart = rest.find('?');
  parsed.path = std::string(rest.substr(0, queryStart));
  if (queryStart != std::string_view::npos) parsed.query = std::string(rest.substr(queryStart + 1));
  while (!parsed.path.empty() && parsed.path.back() == '/') parsed.path.pop_back();
  return parsed;
}

}  // namespace pellum::server
