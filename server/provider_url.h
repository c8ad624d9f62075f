#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pellum::server {

// Where a provider is reached: "https://api.groq.com/openai/v1",
// "http://127.0.0.1:8080", "wss://api.gladia.io/v2/live?token=...".
struct ProviderUrl {
  bool tls = false;   // https or wss
  std::string host;   // without brackets for IPv6 literals
  std::string port;   // the scheme's default when the URL names none
  std::string path;   // "" or starting with "/", without a trailing "/"
  std::string query;  // after "?", without it

  // path + "?" + query (or just path), never empty: what a request line carries.
  std::string target() const;
  // "host" or "host:port" as the Host header wants it.
  std::string hostHeader() const;
};

// Nothing for another scheme, a missing host, a bad port, user info or a
// fragment.
std::optional<ProviderUrl> parseProviderUrl(std::string_view url);

}  // namespace pellum::server
