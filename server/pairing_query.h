#pragma once

#include <string>
#include <variant>

#include "query_string.h"

namespace pellum::server {

// What a device asks for when it opens the pairing page (and what the
// approve form sends back).
struct PairingQuery {
  std::string codeChallenge;  // base64url SHA-256, 43 characters
  std::string state;          // echoed to the device untouched
  std::string deviceName;     // "Unnamed device" when absent
  std::string platform;       // "unknown" when absent
  std::string urlScheme;      // where the browser goes once approved
};

struct PairingQueryError {
  std::string description;
};

// Validates the pairing parameters: code_challenge must be 43 base64url
// characters, state 1–512 characters, url_scheme an allowed callback scheme,
// device_name and platform at most 100 characters each.
std::variant<PairingQuery, PairingQueryError> parsePairingQuery(const QueryItems& items);

}  // namespace pellum::server
