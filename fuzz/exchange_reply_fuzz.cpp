// The exchange's reply body as AuthService reads it, at status 200 and at a
// refusal. Also checks that the server's token reply reads back unchanged.

#include <string>
#include <variant>

#include "account/exchange_reply.h"
#include "exchange_request.h"
#include "fuzz_support.h"
#include "transcription/utf8.h"

using pellum::SignInError;
using pellum::fuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = pellum::fuzz::asText(data, size);

  const auto reply = pellum::readExchangeReply(200, bytes);
  if (const auto* token = std::get_if<std::string>(&reply)) {
    require(pellum::isValidUtf8(*token), "a token is not valid UTF-8");
  } else {
    const auto kind = std::get<SignInError>(reply).kind();
    require(kind == SignInError::Kind::malformedResponse ||
                (bytes.empty() && kind == SignInError::Kind::codeRejected),
            "a 200 reply failed for another reason than its body");
  }
  require(pellum::readExchangeReply(400, bytes) == decltype(reply)(SignInError::codeRejected()),
          "a refused exchange was not codeRejected");

  if (pellum::isValidUtf8(bytes)) {
    const auto fromServer = pellum::readExchangeReply(200, pellum::server::exchangeTokenJson(bytes));
    require(std::holds_alternative<std::string>(fromServer) && std::get<std::string>(fromServer) == bytes,
            "the server's token reply read back as another token");
  }
  return 0;
}
