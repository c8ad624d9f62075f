#pragma once

#include <string>
#include <string_view>

namespace pellum {

// What the pairing page is told about this sign-in and this device.
struct PairingRequest {
  std::string challenge;
  std::string state;
  std::string deviceName;
  std::string platform;
  std::string urlScheme;
};

// `base` with `component` appended as a path component: exactly one "/"
// between the base's path and the component; a query or fragment of the
// base is dropped.
std::string appendPathComponent(std::string_view base, std::string_view component);

// <base>/devices/pair?code_challenge=…&state=…&device_name=…&platform=…&url_scheme=…,
// in that order. Values are percent-encoded except for RFC 3986's
// unreserved characters, so "+" and blanks survive form-style decoding. No
// challenge method is sent: SHA-256 is the only one.
std::string pairingURL(std::string_view webBase, const PairingRequest& request);

// <base>/api/devices/exchange
std::string exchangeURL(std::string_view webBase);

// Percent-encodes every byte outside A–Z a–z 0–9 "-" "." "_" "~".
std::string percentEncodeComponent(std::string_view text);

}  // namespace pellum
