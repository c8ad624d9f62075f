// The body of POST /api/devices/exchange as the server reads it. Also checks
// that the client's own request body reads back unchanged, and that the
// server's answers stay ASCII JSON.

#include <optional>
#include <string>
#include <variant>

#include "account/exchange_reply.h"
#include "exchange_request.h"
#include "fuzz_support.h"

namespace {

using pellum::fuzz::require;
namespace server = pellum::server;

bool isAscii(std::string_view text) {
  for (char c : text) {
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = pellum::fuzz::asText(data, size);

  const auto parsed = server::parseExchangeRequest(bytes);
  if (const auto* error = std::get_if<server::ExchangeRequestError>(&parsed)) {
    require(!error->description.empty(), "an exchange error has no description");
  } else {
    const auto& request = std::get<server::ExchangeRequest>(parsed);
    require(!request.code.empty() && !request.codeVerifier.empty(),
            "an exchange without code or verifier passed");
    require(request.fingerprint.size() <= 200, "a fingerprint was not cut to 200 bytes");
  }
  require(isAscii(server::exchangeErrorJson(bytes)), "an exchange error answer is not ASCII");
  require(isAscii(server::exchangeTokenJson(bytes)), "a token answer is not ASCII");

  // The client's body for a code, verifier and fingerprint cut from the input.
  const std::size_t third = bytes.size() / 3;
  const std::string_view code = bytes.substr(0, third);
  const std::string_view verifier = bytes.substr(third, third);
  const std::string fingerprint(bytes.substr(2 * third));
  const auto body = pellum::exchangeRequestBody(code, verifier, fingerprint);
  if (body && !code.empty() && !verifier.empty()) {
    const auto back = server::parseExchangeRequest(*body);
    require(std::holds_alternative<server::ExchangeRequest>(back), "the client's exchange body was refused");
    const auto& request = std::get<server::ExchangeRequest>(back);
    require(request.code == code && request.codeVerifier == verifier &&
                request.fingerprint == fingerprint.substr(0, 200),
            "the client's exchange body read back as other values");
  }
  return 0;
}
