#include "transcript_result.h"

#include "event_stream_text.h"
#include "json_text.h"
#include "text_cleaner.h"
#include "text_pieces.h"

namespace pellum::server {
namespace {

bool hasWords(std::string_view text) { return text.find_first_not_of(" \t\r\n") != std::string_view::npos; }

}  // namespace

TranscriptResult finishTranscript(std::string_view finalText, TranscriptionMode mode,
                                  std::string_view language, std::string_view translateTo,
                                  Translator& translator) {
  TranscriptResult result;
  result.raw = std::string(finalText);
  if (!hasWords(finalText)) {
    result.error = "no speech detected";
    return result;
  }
  std::string text = mode == TranscriptionMode::clean ? cleanTranscript(finalText) : std::string(finalText);
  if (!translateTo.empty() && translateTo != language) {
    auto translated = translator.translate(text, language, translateTo);
    if (auto* error = std::get_if<TranslationError>(&translated)) {
      result.error = error->description;
      return result;
    }
    text = std::get<std::string>(std::move(translated));
  } else if (mode == TranscriptionMode::raw) {
    return result;  // raw and untranslated: the final "raw" is the whole answer
  }
  result.pieces = textPieces(text);
  return result;
}

std::vector<std::string> liveMessages(const TranscriptResult& result) {
  if (result.error) return {errorMessage(*result.error)};
  std::vector<std::string> messages{rawMessage(result.raw)};
  for (const auto& piece : result.pieces) messages.push_back(chunkMessage(piece));
  messages.push_back(doneMessage());
  return messages;
}

std::string uploadEvents(const TranscriptResult& result) {
  if (result.error) return errorEvent(*result.error);
  return transcriptEvents(result.raw, result.pieces);
}

}  // namespace pellum::server
