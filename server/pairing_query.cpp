#include "pairing_query.h"

#include "callback_scheme.h"

namespace pellum::server {
namespace {

bool isBase64Url(std::string_view text) {
  for (char c : text) {
    const bool ok =
        (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
    if (!ok) return false;
  }
  return true;
}

}  // namespace

std::variant<PairingQuery, PairingQueryError> parsePairingQuery(const QueryItems& items) {
  PairingQuery query;
  query.codeChallenge = std::string(item(items, "code_challenge").value_or(""));
  query.state = std::string(item(items, "state").value_or(""));
  query.deviceName = std::string(item(items, "device_name").value_or(""));
  query.platform = std::string(item(items, "platform").value_or(""));
  query.urlScheme = std::string(item(items, "url_scheme").value_or(""));
  if (query.codeChallenge.size() != 43 || !isBase64Url(query.codeChallenge)) {
    return PairingQueryError{"code_challenge must be 43 base64url characters"};
  }
  if (query.state.empty() || query.state.size() > 512)
    return PairingQueryError{"state must be 1 to 512 characters"};
  if (!isAllowedCallbackScheme(query.urlScheme))
    return PairingQueryError{"url_scheme is not an allowed app scheme"};
  if (query.deviceName.size() > 100 || query.platform.size() > 100) {
    return PairingQueryError{"device_name and platform must be at most 100 characters"};
  }
  if (query.deviceName.empty()) query.deviceName = "Unnamed device";
  if (query.platform.empty()) query.platform = "unknown";
  return query;
}

}  // namespace pellum::server
