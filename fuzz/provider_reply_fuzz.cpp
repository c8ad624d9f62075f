// What the speech providers send the server, and the engines file an
// operator writes: the input goes, as it is, to every reader of provider
// answers (Gladia's start answer and socket messages, OpenAI-compatible
// transcription and chat answers and their rate-limit headers) and to the
// engines file's parser. None may crash or give back text that is not what
// the input held.

#include <map>
#include <string>

#include "engine_config.h"
#include "fuzz_support.h"
#include "gladia_wire.h"
#include "openai_wire.h"
#include "provider_url.h"

namespace {

using namespace pellum::server;
using pellum::fuzz::require;

void readProviderAnswers(std::string_view text) {
  const auto event = readGladiaMessage(text);
  if (event.kind == GladiaEvent::Kind::ignored)
    require(event.text.empty(), "an ignored message carried text");
  for (int status : {200, 201, 401, 429, 500}) {
    const auto session = readGladiaInit(status, text);
    if (status >= 300)
      require(std::holds_alternative<std::string>(session), "an error status opened a session");
    const std::map<std::string, std::string> headers{
        {"retry-after", std::string(text.substr(0, 16))},
        {"x-ratelimit-remaining-requests", "0"},
        {"x-ratelimit-reset-requests", std::string(text.substr(0, 16))}};
    const auto transcription = readTranscriptionAnswer(status, headers, text);
    if (status >= 300)
      require(std::holds_alternative<ProviderRefusal>(transcription), "an error status gave text");
    readChatAnswer(status, headers, text);
    quotaExhaustedFor(headers);
  }
  if (auto url = parseProviderUrl(text)) {
    require(!url->host.empty() && !url->port.empty(), "a URL without host or port");
    require(url->target().front() == '/', "a request target not starting with /");
  }
  withoutKey(std::string(text), text.substr(0, 8));
}

void readEnginesFile(std::string_view text) {
  const Environment environment = [](std::string_view name) -> std::optional<std::string> {
    if (name == "GLADIA_API_KEY") return "from-environment";
    return std::nullopt;
  };
  const auto config = parseEngineConfig(text, environment);
  if (const auto* parsed = std::get_if<EngineConfig>(&config)) {
    if (parsed->live == EngineKind::gladia)
      require(!parsed->gladia.key.empty(), "gladia chosen without a key");
    require(parsed->upload != EngineKind::gladia, "gladia chosen for uploads");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = pellum::fuzz::asText(data, size);
  readProviderAnswers(text);
  readEnginesFile(text);
  return 0;
}
