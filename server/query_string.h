#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace pellum::server {

using QueryItems = std::map<std::string, std::string, std::less<>>;

// A request target split into its path and decoded query items (also used
// for application/x-www-form-urlencoded bodies). "+" means a blank; the
// first of repeated keys wins; malformed escapes are kept as written.
struct RequestTarget {
  std::string path;
  QueryItems query;
};
RequestTarget parseTarget(std::string_view target);
QueryItems parseQuery(std::string_view query);

std::string percentDecode(std::string_view text);

// Everything but unreserved characters (A-Z a-z 0-9 - . _ ~) as %XX.
std::string percentEncode(std::string_view text);

// The item's value, or nothing.
std::optional<std::string_view> item(const QueryItems& items, std::string_view key);

}  // namespace pellum::server
