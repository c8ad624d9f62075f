#pragma once

#include <cstddef>
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
//   the line feed stays;
// - a line (field name included, line feed not) longer than the limit
//   overflows the parser: it drops what it buffered and ignores everything
//   after, so a reply without line feeds cannot grow the buffer without end.
//   An event's data is one line, so the limit bounds it too.
class EventStreamParser {
 public:
  using Handler = std::function<void(std::string_view event, std::string_view payload)>;

  // Far beyond any real event (a transcript chunk is a sentence or two).
  static constexpr std::size_t kMaxLineBytes = 1024 * 1024;

  explicit EventStreamParser(Handler handler, std::size_t maxLineBytes = kMaxLineBytes)
      : handler_(std::move(handler)), maxLineBytes_(maxLineBytes) {}

  void feed(std::string_view bytes);

  // Whether a line ran past the limit; once it did, feed does nothing.
  bool overflowed() const { return overflowed_; }
  std::size_t maxLineBytes() const { return maxLineBytes_; }

  const std::string& currentEvent() const { return currentEvent_; }
  const std::string& buffer() const { return buffer_; }

 private:
  void handleLine(std::string_view line);
  void overflow();

  Handler handler_;
  std::size_t maxLineBytes_;
  bool overflowed_ = false;
  std::string buffer_;
  std::string currentEvent_;
};

// A payload decoded as a top-level JSON string ("\"a\\nb\"" gives a, line
// feed, b); the payload as it stands when it is not one.
std::string decodeEventText(std::string_view payload);

}  // namespace pellum
