#include "gladia_wire.h"

#include <nlohmann/json.hpp>

#include "base/text.h"
#include "json_fields.h"

namespace pellum::server {
namespace {

using nlohmann::json;

std::string trimmedText(const std::string& text) { return std::string(pellum::trimmed(text, " \t\r\n")); }

// Errors come as {"message": ...} or {"status_code", "exception", "message"},
// at the top or under "data" or "error".
std::string errorDescription(const json& value) {
  for (const json* source : {&objectAt(value, "data"), &objectAt(value, "error"), &value}) {
    if (auto message = stringAt(*source, "message"); !message.empty()) return message;
  }
  if (const auto error = value.find("error"); error != value.end() && error->is_string())
    return error->get<std::string>();
  return "unknown error";
}

GladiaEvent transcriptEvent(const json& data) {
  // Only a true boolean counts: value() would throw on any other type.
  const auto flag = data.find("is_final");
  const bool isFinal = flag != data.end() && flag->is_boolean() && flag->get<bool>();
  return GladiaEvent{isFinal ? GladiaEvent::Kind::final : GladiaEvent::Kind::partial, stringAt(data, "id"),
                     trimmedText(stringAt(objectAt(data, "utterance"), "text"))};
}

}  // namespace

std::string gladiaInitBody(const std::vector<std::string>& languages, std::string_view translateTo,
                           std::string_view translationModel) {
  json body{{"encoding", "wav/pcm"},
            {"bit_depth", 16},
            {"sample_rate", 16000},
            {"channels", 1},
            {"messages_config",
             {{"receive_partial_transcripts", true},
              {"receive_final_transcripts", true},
              {"receive_errors", true},
              {"receive_lifecycle_events", true}}}};
  if (!languages.empty()) {
    body["language_config"] = {{"languages", languages}, {"code_switching", languages.size() > 1}};
  }
  if (!translateTo.empty()) {
    body["realtime_processing"] = {{"translation", true},
                                   {"translation_config",
                                    {{"target_languages", json::array({std::string(translateTo)})},
                                     {"model", std::string(translationModel)}}}};
  }
  return body.dump();
}

std::variant<GladiaSession, std::string> readGladiaInit(int status, std::string_view body) {
  const auto value = json::parse(body, nullptr, false);
  if (status < 200 || status >= 300) {
    std::string message = value.is_discarded() ? std::string(pellum::trimmed(body.substr(0, 200), " \t\r\n"))
                                               : errorDescription(value);
    return "HTTP " + std::to_string(status) + ": " + (message.empty() ? "no details" : message);
  }
  if (value.is_discarded() || !value.is_object())
    return std::string("the answer to the session start is not JSON");
  GladiaSession session{stringAt(value, "id"), stringAt(value, "url")};
  if (session.url.empty()) return std::string("the answer to the session start has no session URL");
  return session;
}

GladiaEvent readGladiaMessage(std::string_view message) {
  const auto value = json::parse(message, nullptr, false);
  if (value.is_discarded() || !value.is_object())
    return GladiaEvent{GladiaEvent::Kind::failed, {}, "Gladia sent a message that is not a JSON object"};
  const std::string type = stringAt(value, "type");
  const json& data = objectAt(value, "data");
  if (type == "transcript") return transcriptEvent(data);
  if (type == "translation") {
    return GladiaEvent{GladiaEvent::Kind::translation, stringAt(data, "utterance_id"),
                       trimmedText(stringAt(objectAt(data, "translated_utterance"), "text"))};
  }
  if (type == "post_final_transcript") {
    return GladiaEvent{GladiaEvent::Kind::done,
                       {},
                       trimmedText(stringAt(objectAt(data, "transcription"), "full_transcript"))};
  }
  if (type == "error" || (type.empty() && (value.contains("status_code") || value.contains("exception"))))
    return GladiaEvent{GladiaEvent::Kind::failed, {}, errorDescription(value)};
  return {};
}

std::string gladiaStopMessage() { return R"({"type":"stop_recording"})"; }

}  // namespace pellum::server
