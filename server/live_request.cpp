#include "live_request.h"

#include <cctype>
#include <charconv>

#include "session_limits.h"
#include "transcription/gladia_languages.h"

namespace pellum::server {

std::vector<std::string> languageList(std::string_view value) {
  std::vector<std::string> out;
  while (true) {
    const std::size_t comma = value.find(',');
    std::string entry;
    for (char c : value.substr(0, comma)) {
      if (c != ' ' && c != '\t')
        entry.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
    }
    if (!entry.empty()) out.push_back(std::move(entry));
    if (comma == std::string_view::npos) return out;
    value.remove_prefix(comma + 1);
  }
}

std::variant<LiveRequest, RequestError> parseLiveRequest(const QueryItems& query) {
  LiveRequest request;
  if (auto mode = item(query, "mode")) {
    auto parsed = transcriptionModeFromRawValue(*mode);
    if (!parsed) return RequestError{"unknown mode \"" + std::string(*mode) + "\" (expected clean or raw)"};
    request.mode = *parsed;
  }
  request.languages = languageList(item(query, "language").value_or(""));
  if (request.languages.empty()) request.languages.push_back("en");

  const auto rate = item(query, "sample_rate");
  if (!rate) return RequestError{"sample_rate is missing"};
  const auto* end = rate->data() + rate->size();
  const auto [stop, ec] = std::from_chars(rate->data(), end, request.sampleRate);
  if (ec != std::errc{} || stop != end || request.sampleRate < kMinSampleRate ||
      request.sampleRate > kMaxSampleRate) {
    return RequestError{"sample_rate must be a whole number from " + std::to_string(kMinSampleRate) + " to " +
                        std::to_string(kMaxSampleRate)};
  }
  if (auto target = item(query, "translate_to")) {
    auto targets = languageList(*target);
    if (!targets.empty()) request.translateTo = targets.front();
  }
  return request;
}

std::string languageLabel(std::string_view code) {
  const auto& table = GladiaLanguages::languagesByCode();
  const auto found = table.find(code);
  if (found == table.end()) return std::string(code);
  return std::string(found->second.name) + " (" + std::string(code) + ")";
}

std::string unsupportedLanguagesText(const std::vector<std::string>& languages) {
  std::string text = "no speech model for ";
  for (std::size_t i = 0; i < languages.size(); ++i) {
    if (i > 0) text += ", ";
    text += languageLabel(languages[i]);
  }
  return text;
}

}  // namespace pellum::server
