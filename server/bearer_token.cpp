#include "bearer_token.h"

#include <cctype>

namespace pellum::server {

std::optional<std::string_view> bearerToken(std::string_view authorization) {
  constexpr std::string_view kScheme = "bearer ";
  if (authorization.size() <= kScheme.size()) return std::nullopt;
  for (std::size_t i = 0; i < kScheme.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(authorization[i])) != kScheme[i]) return std::nullopt;
  }
  std::string_view token = authorization.substr(kScheme.size());
  while (!token.empty() && token.front() == ' ') token.remove_prefix(1);
  while (!token.empty() && token.back() == ' ') token.remove_suffix(1);
  if (token.empty()) return std::nullopt;
  return token;
}

}  // namespace pellum::server
