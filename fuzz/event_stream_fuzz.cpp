// The upload route's event-stream reply as the client reads it: body bytes
// in arbitrary deliveries through EventStreamParser into UploadReply. Also
// replays the server's own writer of that reply, cut anywhere, and checks the
// client reads back exactly the text it was given.

#include <optional>
#include <string>
#include <vector>

#include "event_stream_text.h"
#include "fuzz_support.h"
#include "transcription/event_stream_parser.h"
#include "transcription/upload_reply.h"
#include "transcription/utf8.h"

namespace {

using pellum::UploadReply;
using pellum::UploadResult;
using pellum::fuzz::require;

struct Outcome {
  std::optional<UploadResult> result;
  std::string rawText;
  std::string cleanedText;
};

Outcome readReply(const std::vector<std::string_view>& deliveries) {
  UploadReply reply;
  Outcome outcome;
  for (auto delivery : deliveries) {
    auto result = reply.feed(delivery);
    if (result) {
      require(!outcome.result, "an upload reply gave a second result");
      outcome.result = std::move(result);
    }
    require(reply.completed() || !outcome.result, "a result came from a reply not marked completed");
    require(pellum::isValidUtf8(reply.rawText()), "raw text is not valid UTF-8");
    require(pellum::isValidUtf8(reply.cleanedText()), "cleaned text is not valid UTF-8");
  }
  if (outcome.result && outcome.result->ok()) {
    require(pellum::isValidUtf8(outcome.result->text()), "result text is not valid UTF-8");
  }
  require(!reply.markCompleted() || !outcome.result, "a reply that gave a result could be completed again");
  outcome.rawText = reply.rawText();
  outcome.cleanedText = reply.cleanedText();
  return outcome;
}

void checkParserAlone(const std::vector<std::string_view>& deliveries) {
  std::size_t events = 0;
  pellum::EventStreamParser parser([&](std::string_view event, std::string_view payload) {
    ++events;
    require(event.find('\n') == std::string_view::npos, "an event name holds a line feed");
    require(payload.find('\n') == std::string_view::npos, "a payload holds a line feed");
    require(pellum::isValidUtf8(pellum::decodeEventText(payload)), "decoded event text is not valid UTF-8");
  });
  for (auto delivery : deliveries) {
    const std::string before = parser.buffer();
    const std::size_t eventsBefore = events;
    parser.feed(delivery);
    if (!pellum::isValidUtf8(delivery)) {
      require(parser.buffer() == before && events == eventsBefore, "a delivery that is not UTF-8 was read");
    }
    require(parser.buffer().find('\n') == std::string::npos, "a complete line stayed in the buffer");
  }
}

// The server's reply for a transcript equal to the input, in words.
void checkServerReplyRoundTrip(std::string_view text) {
  if (!pellum::isValidUtf8(text) || text.find('\0') != std::string_view::npos) return;
  std::vector<std::string> pieces;
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::size_t blank = rest.find(' ');
    const std::size_t length = blank == std::string_view::npos ? rest.size() : blank + 1;
    pieces.emplace_back(rest.substr(0, length));
    rest.remove_prefix(length);
  }
  const std::string body = pellum::server::transcriptEvents(text, pieces);
  const Outcome outcome = readReply(pellum::fuzz::anyChunks(body));
  require(outcome.result && outcome.result->ok(), "the server's transcript reply gave no text");
  require(outcome.result->text() == text, "the server's transcript reply read back as another text");
  require(outcome.rawText == text, "the server's raw text read back as another text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = pellum::fuzz::asText(data, size);

  const auto anyCut = pellum::fuzz::anyChunks(bytes);
  readReply(anyCut);
  checkParserAlone(anyCut);

  // Deliveries that each hold whole characters read as the body does in one.
  if (pellum::isValidUtf8(bytes)) {
    const Outcome whole = readReply({bytes});
    const Outcome cut = readReply(pellum::fuzz::characterChunks(bytes));
    require(whole.result == cut.result, "the result depends on where deliveries were cut");
    require(whole.rawText == cut.rawText && whole.cleanedText == cut.cleanedText,
            "the texts depend on where deliveries were cut");
  }

  checkServerReplyRoundTrip(bytes);
  return 0;
}
