// The sign-in callback link as the desktop hands it to `pellum URL`:
// parsePairingCallback with the build's scheme. Also checks that the server's
// redirect for a code and state made of the input reads back unchanged.

#include <string>

#include "account/pairing_callback.h"
#include "callback_scheme.h"
#include "fuzz_support.h"

using pellum::fuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = pellum::fuzz::asText(data, size);
  if (const auto callback = pellum::parsePairingCallback(bytes, "pellum")) {
    require(bytes.starts_with("pellum://"), "a callback of another scheme was accepted");
  }

  // The code is everything before the first "&", the state the rest.
  const std::size_t amp = bytes.find('&');
  const std::string_view code = bytes.substr(0, amp);
  const std::string_view state = amp == std::string_view::npos ? std::string_view{} : bytes.substr(amp + 1);
  const auto redirect = pellum::server::pairingRedirect("pellum", code, state);
  const auto back = pellum::parsePairingCallback(redirect, "pellum");
  require(back.has_value(), "the server's redirect is not a callback");
  require(back->code == code && back->state == state,
          "the server's redirect read back as another code or state");
  return 0;
}
