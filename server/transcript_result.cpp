#include "transcript_result.h"

#include "event_stream_text.h"
#include "json_text.h"
#include "text_pieces.h"

namespace pellum::server {
namespace {

bool hasWords(std::string_view text) { return text.find_first_not_of(" \t\r\n") != std::string_view::npos; }

}  // namespace

TranscriptResult finishTranscript(const EngineTranscript& transcript, TranscriptionMode mode,
                                  std::string_view language, std::string_view translateTo,
                                  TextCleanup& cleanup, Translator& translator) {
  TranscriptResult result;
  result.raw = transcript.text;
  if (!hasWords(transcript.text)) {
    result.error = "no speech detected";
    return result;
  }
  const bool translating = !translateTo.empty() && translateTo != language;
  if (translating && transcript.translation) {
    result.pieces = textPieces(*transcript.translation);
    return result;
  }
  std::string text = mode == TranscriptionMode::clean ? cleanup.clean(transcript.text) : transcript.text;
  if (translating) {
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
