#pragma once

#include <optional>
#include <string_view>

namespace pellum {

// What the server returns: tidied-up text (the default) or the verbatim
// transcript. The raw values travel in request URLs, upload forms and the
// "transcriptionMode" preference.
enum class TranscriptionMode { clean, raw };

// "clean" or "raw".
std::string_view rawValue(TranscriptionMode mode);

// Accepts exactly "clean" and "raw" (case-sensitive); nothing otherwise.
std::optional<TranscriptionMode> transcriptionModeFromRawValue(std::string_view value);

}  // namespace pellum
