// Request targets and form bodies as the server reads them: the query split
// and percent-decoded, then read as a live session's request and as the
// pairing page's parameters (the approve form goes the same way as a body).

#include <cctype>
#include <string>
#include <variant>

#include "callback_scheme.h"
#include "fuzz_support.h"
#include "live_request.h"
#include "pairing_query.h"
#include "query_string.h"
#include "session_limits.h"

namespace {

using pellum::fuzz::require;
namespace server = pellum::server;

void checkLanguages(const std::vector<std::string>& languages) {
  for (const auto& language : languages) {
    require(!language.empty(), "an empty language was kept");
    for (char c : language) {
      require(c != ' ' && c != '\t' && c != ',', "a language holds a blank or a comma");
      require(std::tolower(static_cast<unsigned char>(c)) == static_cast<unsigned char>(c),
              "a language was not lower-cased");
    }
  }
}

void readAsLiveRequest(const server::QueryItems& query) {
  const auto parsed = server::parseLiveRequest(query);
  if (const auto* error = std::get_if<server::RequestError>(&parsed)) {
    require(!error->description.empty(), "a live request error has no description");
    return;
  }
  const auto& request = std::get<server::LiveRequest>(parsed);
  require(request.sampleRate >= server::kMinSampleRate && request.sampleRate <= server::kMaxSampleRate,
          "a sample rate out of range was accepted");
  require(!request.languages.empty(), "a live request has no language");
  checkLanguages(request.languages);
  server::unsupportedLanguagesText(request.languages);
}

void readAsPairingQuery(const server::QueryItems& query) {
  const auto parsed = server::parsePairingQuery(query);
  if (const auto* error = std::get_if<server::PairingQueryError>(&parsed)) {
    require(!error->description.empty(), "a pairing query error has no description");
    return;
  }
  const auto& pairing = std::get<server::PairingQuery>(parsed);
  require(pairing.codeChallenge.size() == 43, "a code challenge of another length was accepted");
  require(!pairing.state.empty() && pairing.state.size() <= 512, "a state out of bounds was accepted");
  require(server::isAllowedCallbackScheme(pairing.urlScheme), "a refused scheme was accepted");
  require(!pairing.deviceName.empty() && pairing.deviceName.size() <= 100,
          "a device name out of bounds was accepted");
  require(!pairing.platform.empty() && pairing.platform.size() <= 100,
          "a platform out of bounds was accepted");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = pellum::fuzz::asText(data, size);

  const auto target = server::parseTarget(bytes);
  require(bytes.starts_with(target.path), "the path is not the start of the target");
  readAsLiveRequest(target.query);
  readAsPairingQuery(target.query);

  const auto form = server::parseQuery(bytes);
  readAsPairingQuery(form);

  require(server::percentDecode(server::percentEncode(bytes)) == bytes,
          "percent-encoding does not round-trip");
  const auto encoded = server::parseQuery("state=" + server::percentEncode(bytes) + "&state=second");
  require(server::item(encoded, "state") == bytes, "an encoded query value read back as another value");
  return 0;
}
