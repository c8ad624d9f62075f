#include "event_stream_text.h"

#include "json_text.h"

namespace pellum::server {

std::string eventText(std::string_view name, std::string_view data) {
  std::string out = "event: ";
  out.append(name);
  out.append("\ndata: ");
  out.append(data);
  out.append("\n\n");
  return out;
}

std::string transcriptEvents(std::string_view raw, const std::vector<std::string>& pieces) {
  std::string out = eventText("raw", asciiJsonString(raw));
  for (const auto& piece : pieces) out += eventText("chunk", asciiJsonString(piece));
  out += eventText("done", "{}");
  return out;
}

std::string errorEvent(std::string_view message) {
  std::string line;
  for (char c : message) {
    const auto byte = static_cast<unsigned char>(c);
    line.push_back(byte < 0x20 || byte >= 0x7F ? '?' : c);
  }
  return eventText("error", line);
}

}  // namespace pellum::server
