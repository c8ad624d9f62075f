#include "transcription/live_transcript.h"

#include <nlohmann/json.hpp>

namespace pellum {

LiveTranscript::Effect LiveTranscript::handle(std::string_view payload) {
  const auto message = nlohmann::json::parse(payload, nullptr, /*allow_exceptions=*/false);
  if (!message.is_object()) return {};
  const auto type = message.find("type");
  if (type == message.end() || !type->is_string()) return {};
  const auto& kind = type->get_ref<const std::string&>();
  const auto text = message.find("text");
  const bool hasText = text != message.end() && text->is_string();

  if (kind == "raw") {
    if (hasText) rawText_ = text->get<std::string>();
    return {Effect::Kind::rawUpdated, std::nullopt};
  }
  if (kind == "chunk") {
    if (hasText) cleanedText_ += text->get_ref<const std::string&>();
    return {Effect::Kind::chunkAdded, std::nullopt};
  }
  if (kind == "done") {
    return {Effect::Kind::finished, StreamingResult::success(bestText())};
  }
  if (kind == "error") {
    const auto error = message.find("error");
    std::string reason =
        (error != message.end() && error->is_string()) ? error->get<std::string>() : std::string("unknown");
    auto failure = reason == "no speech detected" ? StreamingError::noSpeech()
                                                  : StreamingError::gladiaFailed(std::move(reason));
    return {Effect::Kind::finished, StreamingResult::failure(std::move(failure))};
  }
  return {};
}

}  // namespace pellum
