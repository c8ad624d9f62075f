#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace pellum::server {

// What an OpenAI-compatible service answered instead of a result.
struct ProviderRefusal {
  std::string description;                         // "HTTP 401: Invalid API Key", ...
  std::optional<std::chrono::seconds> retryAfter;  // from a 429's retry-after
};

struct TranscriptionFields {
  std::string model;
  std::string language;  // "" leaves the field out
  std::string prompt;    // "" leaves the field out
};

// The multipart body of POST {base}/audio/transcriptions: model, language,
// prompt, response_format json and the recording as "file" (audio.wav).
std::string transcriptionForm(std::string_view boundary, const TranscriptionFields& fields,
                              std::string_view wav);

// The text of a transcription answer: {"text": ...} with each line trimmed
// and the lines joined by single blanks (whisper-server puts a leading
// blank on every segment and ends each with a line feed).
std::variant<std::string, ProviderRefusal> readTranscriptionAnswer(
    int status, const std::map<std::string, std::string>& headers, std::string_view body);

// The body of POST {base}/chat/completions asking `model` to clean `text`.
std::string cleanupChatRequest(std::string_view model, std::string_view text);

// The assistant's content of a chat answer.
std::variant<std::string, ProviderRefusal> readChatAnswer(int status,
                                                          const std::map<std::string, std::string>& headers,
                                                          std::string_view body);

// How long the service will refuse requests once this answer's quota is
// spent: x-ratelimit-remaining-requests of 0 with its
// x-ratelimit-reset-requests ("2m59.56s", "7.66s", "120ms"), as Groq and
// OpenAI send them; nothing while requests remain.
std::optional<std::chrono::milliseconds> quotaExhaustedFor(const std::map<std::string, std::string>& headers);

// A rate-limit duration: hours, minutes, seconds and milliseconds in that
// order, each optional ("1h2m3.5s", "59s", "250ms"); nothing if malformed.
std::optional<std::chrono::milliseconds> parseRateLimitDuration(std::string_view text);

// `text` with every occurrence of `key` replaced by "[key]": provider error
// texts may quote what they were sent, and keys never reach a log or client.
std::string withoutKey(std::string text, std::string_view key);

}  // namespace pellum::server
