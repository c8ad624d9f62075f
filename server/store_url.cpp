#include "store_url.h"

#include <algorithm>

namespace pellum::server {

bool isStoreUrl(std::string_view url) {
  return url.empty() || url.starts_with("postgresql://") || url.starts_with("postgres://");
}

std::string withoutPassword(std::string_view url) {
  std::string out(url);
  const auto scheme = out.find("://");
  if (scheme == std::string::npos) return out;
  const auto authorityStart = scheme + 3;
  const auto authorityEnd = std::min(out.find_first_of("/?#", authorityStart), out.size());
  const auto at = out.rfind('@', authorityEnd);
  if (at != std::string::npos && at >= authorityStart) {
    const auto colon = out.find(':', authorityStart);
    if (colon < at) out.replace(colon + 1, at - colon - 1, "***");
  }
  for (auto query = out.find('?'); query != std::string::npos;) {
    const auto name = query + 1;
    const auto end = std::min(out.find('&', name), out.size());
    if (out.compare(name, 9, "password=") == 0) {
      out.replace(name + 9, end - name - 9, "***");
      query = out.find('&', name);
    } else {
      query = end == out.size() ? std::string::npos : end;
    }
  }
  return out;
}

}  // namespace pellum::server
