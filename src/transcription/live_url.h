#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "transcription/transcription_mode.h"

namespace pellum {

// The WebSocket base of a server address: every "https://" becomes "wss://",
// then every "http://" becomes "ws://" (plain substring replacement).
std::string webSocketBase(std::string_view serverURL);

// The live route's URL text, built by concatenation with no percent-encoding:
// base/transcribe/stream?provider=gladia&mode=M&language=L&sample_rate=R
// [&translate_to=T]. The rate is rounded to the nearest integer, halves away
// from zero; the translation key is present only for a non-empty target.
std::string liveStreamURL(std::string_view serverURL, TranscriptionMode mode, std::string_view language,
                          const std::optional<std::string>& translateTo, double sampleRate);

}  // namespace pellum
