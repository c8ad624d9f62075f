#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "query_string.h"
#include "transcription/transcription_mode.h"

namespace pellum::server {

// What a live session asked for in its URL.
struct LiveRequest {
  TranscriptionMode mode = TranscriptionMode::clean;
  std::vector<std::string> languages;  // in the client's order of preference
  int sampleRate = 16000;
  std::string translateTo;  // empty: no translation
};

struct RequestError {
  std::string description;
};

// Reads mode (clean or raw; clean when absent), language (one code or a
// comma list; "en" when absent or empty), sample_rate (a whole number of
// hertz in the accepted range; required) and translate_to (optional).
std::variant<LiveRequest, RequestError> parseLiveRequest(const QueryItems& query);

// The languages of a "language" value: split at commas, blanks trimmed,
// lower-cased, empty entries dropped.
std::vector<std::string> languageList(std::string_view value);

// The first of `wanted` that `supported` accepts, else nothing.
template <class Supports>
std::optional<std::string> firstSupported(const std::vector<std::string>& wanted, Supports supported) {
  for (const auto& language : wanted) {
    if (supported(language)) return language;
  }
  return std::nullopt;
}

// "English (en)"; the code alone when the language table lacks it.
std::string languageLabel(std::string_view code);

// "no speech model for French (fr)" or "... for French (fr), German (de)".
std::string unsupportedLanguagesText(const std::vector<std::string>& languages);

}  // namespace pellum::server
