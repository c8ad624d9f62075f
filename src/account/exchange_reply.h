#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "account/sign_in_error.h"

namespace pellum {

// The JSON body of the exchange request: {"code", "code_verifier"} and
// "fingerprint" only when there is one. Nothing when it cannot be written as
// JSON (a code that is not UTF-8); the request then goes without a body.
std::optional<std::string> exchangeRequestBody(std::string_view code, std::string_view verifier,
                                               const std::optional<std::string>& fingerprint);

// Reads the exchange's HTTP reply (a transport failure never gets here):
// the token when the status is exactly 200 and the body is a JSON object
// whose "token" is a string; codeRejected for any other status (201
// included) or an empty body, whose text is never read; malformedResponse
// for anything else.
std::variant<std::string, SignInError> readExchangeReply(int httpStatus, std::string_view body);

}  // namespace pellum
