#include "account/pairing_callback.h"

#include "transcription/url_text.h"

namespace pellum {
namespace {

std::optional<std::string> percentDecode(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out += text[i];
      continue;
    }
    if (i + 2 >= text.size() || hexDigitValue(text[i + 1]) < 0 || hexDigitValue(text[i + 2]) < 0)
      return std::nullopt;
    out += static_cast<char>(hexDigitValue(text[i + 1]) * 16 + hexDigitValue(text[i + 2]));
    i += 2;
  }
  return out;
}

}  // namespace

std::optional<PairingCallback> parsePairingCallback(std::string_view url, std::string_view urlScheme) {
  const std::size_t colon = url.find(':');
  if (colon == std::string_view::npos || url.substr(0, colon) != urlScheme) return std::nullopt;
  std::string_view rest = url.substr(colon + 1);
  if (!rest.starts_with("//")) return std::nullopt;  // no host at all
  rest.remove_prefix(2);

  std::string_view authority = rest.substr(0, rest.find_first_of("/?#"));
  if (const std::size_t at = authority.rfind('@'); at != std::string_view::npos)
    authority.remove_prefix(at + 1);
  const std::string_view host = authority.substr(0, authority.find(':'));
  if (host != "paired") return std::nullopt;

  const std::size_t question = rest.find('?');
  if (question == std::string_view::npos) return std::nullopt;
  std::string_view query = rest.substr(question + 1);
  query = query.substr(0, query.find('#'));

  std::optional<std::string> code, state;
  while (!query.empty()) {
    const std::size_t amp = query.find('&');
    const std::string_view item = query.substr(0, amp);
    query = amp == std::string_view::npos ? std::string_view{} : query.substr(amp + 1);
    const std::size_t equals = item.find('=');
    if (equals == std::string_view::npos) continue;  // a name without a value
    const auto name = percentDecode(item.substr(0, equals));
    const auto value = percentDecode(item.substr(equals + 1));
    if (!name || !value) return std::nullopt;
    if (*name == "code" && !code) code = *value;
    if (*name == "state" && !state) state = *value;
  }
  if (!code || !state) return std::nullopt;
  return PairingCallback{*code, *state};
}

CallbackCheck checkCallbackState(std::string_view returnedState,
                                 const std::optional<std::string>& pendingState,
                                 const std::optional<std::string>& pendingVerifier) {
  if (!pendingState || !pendingVerifier) return CallbackCheck::noPairingInProgress;
  if (returnedState != *pendingState) return CallbackCheck::stateMismatch;
  return CallbackCheck::accepted;
}

}  // namespace pellum
