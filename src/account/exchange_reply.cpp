#include "account/exchange_reply.h"

#include <nlohmann/json.hpp>

namespace pellum {

std::optional<std::string> exchangeRequestBody(std::string_view code, std::string_view verifier,
                                               const std::optional<std::string>& fingerprint) {
  nlohmann::json body = {{"code", code}, {"code_verifier", verifier}};
  if (fingerprint) body["fingerprint"] = *fingerprint;
  try {
    return body.dump();
  } catch (const nlohmann::json::type_error&) {  // invalid UTF-8
    return std::nullopt;
  }
}

std::variant<std::string, SignInError> readExchangeReply(int httpStatus, std::string_view body) {
  if (httpStatus != 200 || body.empty()) return SignInError::codeRejected();
  const auto json = nlohmann::json::parse(body, nullptr, /*allow_exceptions=*/false);
  // A text that does not parse comes back as a "discarded" value: no object.
  if (!json.is_object()) return SignInError::malformedResponse();
  const auto token = json.find("token");
  if (token == json.end() || !token->is_string()) return SignInError::malformedResponse();
  return token->get<std::string>();
}

}  // namespace pellum
