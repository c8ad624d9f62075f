#include "transcription/live_url.h"

#include <cmath>

namespace pellum {
namespace {

std::string replaceAll(std::string text, std::string_view from, std::string_view to) {
  std::size_t at = 0;
  while ((at = text.find(from, at)) != std::string::npos) {
    text.replace(at, from.size(), to);
    at += to.size();
  }
  return text;
}

}  // namespace

std::string webSocketBase(std::string_view serverURL) {
  return replaceAll(replaceAll(std::string(serverURL), "https://", "wss://"), "http://", "ws://");
}

std::string liveStreamURL(std::string_view serverURL, TranscriptionMode mode, std::string_view language,
                          const std::optional<std::string>& translateTo, double sampleRate) {
  std::string url = webSocketBase(serverURL);
  url += "/transcribe/stream?provider=gladia&mode=";
  url += rawValue(mode);
  url += "&language=";
  url += language;
  url += "&sample_rate=";
  url += std::to_string(std::llround(sampleRate));
  if (translateTo && !translateTo->empty()) {
    url += "&translate_to=";
    url += *translateTo;
  }
  return url;
}

}  // namespace pellum
