#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace pellum {

// Incremental parser of a server-sent-event reply as the upload route sends
// it. Deliveries are fed in arrival order; each complete line is handled as
// soon as its "\n" arrives, and an unterminated tail waits for the next one.
//
// The rules are deliberately narrow, because the server is ours:
// - a delivery that is not valid UTF-8 is dropped whole;
// - "event: " (exactly one blank) names the event until the next such line,
//   blank lines do not reset it;
// - "data: " hands (event name, payload) to the handler;
// - everything else is ignored;
// - names and payloads are trimmed of spaces and tabs only, so a "\r" before
//   the line feed stays.
class EventStreamParser {
 public:
  using Handler = std::function<void(std::string_view event, std::string_view payload)>;

  explicit EventStreamParser(Handler handler) : handler_(std::move(handler)) {}

  void feed(std::string_view bytes);

  const std::string& currentEvent() const { return currentEvent_; }
  const std::string& buffer() const { return buffer_; }

 private:
  void handleLine(std::string_view line);

  Handler handler_;
  std::string buffer_;
  std::string currentEvent_;
};

// Spaces and tabs trimmed at both ends; nothing else.
std::string_view trimBlanks(std::string_view text);

// A payload decoded as a top-level JSON string ("\"a\\nb\"" gives a, line
// feed, b); the payload as it stands when it is not one.
std::string decodeEventText(std::string_view payload);

}  // namespace pellum
