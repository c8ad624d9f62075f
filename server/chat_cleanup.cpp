#include "chat_cleanup.h"

#include "openai_wire.h"
#include "provider_http.h"
#include "server_log.h"

namespace pellum::server {

ChatCleanup::ChatCleanup(ChatSettings settings) : settings_(std::move(settings)) {}

std::string ChatCleanup::clean(std::string_view verbatim) {
  auto url = *parseProviderUrl(settings_.baseUrl);
  url.path += "/chat/completions";
  HttpCall call{
      "POST", url, {{"content-type", "application/json"}}, cleanupChatRequest(settings_.model, verbatim)};
  if (!settings_.key.empty()) call.headers.emplace_back("authorization", "Bearer " + settings_.key.value);
  std::string problem;
  auto sent = sendHttp(call, settings_.timeout);
  if (auto* failure = std::get_if<HttpFailure>(&sent)) {
    problem = failure->description;
  } else {
    const auto& answer = std::get<HttpAnswer>(sent);
    auto text = readChatAnswer(answer.status, answer.headers, answer.body);
    if (auto* cleaned = std::get_if<std::string>(&text)) return *cleaned;
    problem = withoutKey(std::get<ProviderRefusal>(text).description, settings_.key.value);
  }
  logLine("clean-up model " + settings_.model + " at " + url.host + " failed (" + problem +
          "), using the built-in cleaner");
  return builtIn_.clean(verbatim);
}

}  // namespace pellum::server
