#include "transcription/event_stream_parser.h"

#include <nlohmann/json.hpp>

#include "base/text.h"
#include "transcription/utf8.h"

namespace pellum {

std::string decodeEventText(std::string_view payload) {
  const auto value = nlohmann::json::parse(payload, nullptr, /*allow_exceptions=*/false);
  if (value.is_string()) return value.get<std::string>();
  return std::string(payload);
}

void EventStreamParser::feed(std::string_view bytes) {
  if (overflowed_ || !isValidUtf8(bytes)) return;
  buffer_.append(bytes);

  std::size_t start = 0;
  std::size_t newline;
  while ((newline = buffer_.find('\n', start)) != std::string::npos) {
    if (newline - start > maxLineBytes_) return overflow();
    handleLine(std::string_view(buffer_).substr(start, newline - start));
    start = newline + 1;
  }
  buffer_.erase(0, start);
  if (buffer_.size() > maxLineBytes_) overflow();
}

void EventStreamParser::overflow() {
  overflowed_ = true;
  std::string().swap(buffer_);  // gives the memory back, not just the length
}

void EventStreamParser::handleLine(std::string_view line) {
  constexpr std::string_view kEvent = "event: ";
  constexpr std::string_view kData = "data: ";
  if (line.starts_with(kEvent)) {
    currentEvent_ = std::string(trimBlanks(line.substr(kEvent.size())));
  } else if (line.starts_with(kData)) {
    if (handler_) handler_(currentEvent_, trimBlanks(line.substr(kData.size())));
  }
}

}  // namespace pellum
