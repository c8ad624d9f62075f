// The live route's messages as the client reads them: the input is a series
// of messages, one a line, handed to LiveTranscript in order. Also checks
// that the server's own messages read back as the text they carry.

#include <string>

#include "fuzz_support.h"
#include "json_text.h"
#include "transcription/live_transcript.h"
#include "transcription/utf8.h"

namespace {

using pellum::LiveTranscript;
using pellum::TranscriptionMode;
using pellum::fuzz::require;

void readMessages(std::string_view bytes, TranscriptionMode mode, bool translating) {
  LiveTranscript transcript(mode, translating);
  while (!bytes.empty()) {
    const std::size_t newline = bytes.find('\n');
    const std::string_view message = bytes.substr(0, newline);
    bytes = newline == std::string_view::npos ? std::string_view{} : bytes.substr(newline + 1);

    const auto effect = transcript.handle(message);
    const bool finished = effect.kind == LiveTranscript::Effect::Kind::finished;
    require(finished == effect.result.has_value(), "only a finishing message carries a result");
    if (effect.result && effect.result->ok()) {
      require(effect.result->text() == transcript.bestText(), "done did not give the best text");
    }
    require(pellum::isValidUtf8(transcript.rawText()), "raw text is not valid UTF-8");
    require(pellum::isValidUtf8(transcript.cleanedText()), "cleaned text is not valid UTF-8");
  }
}

void checkServerMessagesRoundTrip(std::string_view text) {
  if (!pellum::isValidUtf8(text)) return;
  LiveTranscript transcript(TranscriptionMode::clean, false);
  transcript.handle(pellum::server::rawMessage(text));
  require(transcript.rawText() == text, "the server's raw message read back as another text");
  transcript.handle(pellum::server::chunkMessage(text));
  require(transcript.cleanedText() == text, "the server's chunk message read back as another text");
  const auto done = transcript.handle(pellum::server::doneMessage());
  require(done.result && done.result->ok() && done.result->text() == transcript.bestText(),
          "the server's done message did not finish with the text");
  const auto error = transcript.handle(pellum::server::errorMessage(text));
  require(error.result && !error.result->ok(), "the server's error message did not finish with an error");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = pellum::fuzz::asText(data, size);
  readMessages(bytes, TranscriptionMode::clean, false);
  readMessages(bytes, TranscriptionMode::raw, true);
  checkServerMessagesRoundTrip(bytes);
  return 0;
}
