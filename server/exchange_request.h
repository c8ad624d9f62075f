#pragma once

#include <string>
#include <string_view>
#include <variant>

namespace pellum::server {

// The body of POST /api/devices/exchange.
struct ExchangeRequest {
  std::string code;
  std::string codeVerifier;
  std::string fingerprint;  // empty when not sent
};

struct ExchangeRequestError {
  std::string description;
};

// Reads {"code": ..., "code_verifier": ..., "fingerprint"?: ...}; the first
// two must be non-empty strings, the fingerprint a string when present.
std::variant<ExchangeRequest, ExchangeRequestError> parseExchangeRequest(std::string_view body);

// {"error": description} and {"token": token}, as ASCII JSON.
std::string exchangeErrorJson(std::string_view description);
std::string exchangeTokenJson(std::string_view token);

}  // namespace pellum::server
