#include "exchange_request.h"

#include <nlohmann/json.hpp>

#include "json_text.h"

namespace pellum::server {

std::variant<ExchangeRequest, ExchangeRequestError> parseExchangeRequest(std::string_view body) {
  const auto json = nlohmann::json::parse(body, nullptr, false);
  if (json.is_discarded() || !json.is_object()) return ExchangeRequestError{"body is not a JSON object"};
  auto text = [&](const char* key) -> const nlohmann::json* {
    const auto found = json.find(key);
    return found != json.end() && found->is_string() ? &*found : nullptr;
  };
  const auto* code = text("code");
  const auto* verifier = text("code_verifier");
  if (!code || code->get_ref<const std::string&>().empty()) return ExchangeRequestError{"code is missing"};
  if (!verifier || verifier->get_ref<const std::string&>().empty()) {
    return ExchangeRequestError{"code_verifier is missing"};
  }
  ExchangeRequest request{code->get<std::string>(), verifier->get<std::string>(), {}};
  if (json.contains("fingerprint")) {
    const auto* fingerprint = text("fingerprint");
    if (!fingerprint) return ExchangeRequestError{"fingerprint must be a string"};
    request.fingerprint = fingerprint->get<std::string>().substr(0, 200);
  }
  return request;
}

std::string exchangeErrorJson(std::string_view description) {
  return "{\"error\":" + asciiJsonString(description) + "}";
}

std::string exchangeTokenJson(std::string_view token) { return "{\"token\":" + asciiJsonString(token) + "}"; }

}  // namespace pellum::server
