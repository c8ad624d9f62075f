#pragma once

#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace pellum::server {

// The body of POST /v2/live: our audio as it is (wav/pcm, 16 kHz, 16-bit,
// mono), the client's languages (several with code switching), and the
// translation target when there is one.
std::string gladiaInitBody(const std::vector<std::string>& languages, std::string_view translateTo,
                           std::string_view translationModel);

struct GladiaSession {
  std::string id;
  std::string url;  // the WebSocket's, with its token
};

// A live session from the init answer, or why there is none
// ("HTTP 401: Invalid api key", "the answer has no session URL").
std::variant<GladiaSession, std::string> readGladiaInit(int status, std::string_view body);

// One message from the live socket, as far as the relay cares.
struct GladiaEvent {
  enum class Kind {
    ignored,      // acknowledgements, lifecycle events, anything unknown
    partial,      // an utterance's text so far
    final,        // an utterance's final text
    translation,  // an utterance's translation
    done,         // the post-processed transcript: nothing more will come
    failed,       // an error message, or a message that is not JSON
  };
  Kind kind = Kind::ignored;
  std::string utteranceId;
  std::string text;  // trimmed; for failed, the description
};

GladiaEvent readGladiaMessage(std::string_view message);

// {"type":"stop_recording"}
std::string gladiaStopMessage();

}  // namespace pellum::server
