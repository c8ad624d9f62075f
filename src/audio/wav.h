#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace pellum {

// A RIFF/WAVE image of 16-bit mono PCM: the 44-byte canonical header
// followed by `pcm` unchanged. The rate must be finite and fit in 32 bits,
// and so must 36 + the data length; anything else is a programming error and
// stops the process (at 32000 bytes a second that is past 37 hours).
std::string wavData(std::string_view pcm, double sampleRate);

// What a WAV file holds, as its "fmt " chunk says. `data` points into the
// parsed bytes.
struct WavInfo {
  std::uint16_t formatTag = 0;  // 1 = integer PCM (also for WAVE_FORMAT_EXTENSIBLE with a PCM sub-format)
  std::uint16_t channels = 0;
  std::uint32_t sampleRate = 0;
  std::uint16_t bitsPerSample = 0;
  std::string_view data;

  bool isPcm16() const { return formatTag == 1 && bitsPerSample == 16 && channels > 0; }
  // "16000 Hz, 1 channel, 16-bit PCM", "44100 Hz, 2 channels, 32-bit float", ...
  std::string describe() const;
};

struct WavError {
  std::string description;
};

// Reads the header of a RIFF/WAVE file: skips chunks it does not need,
// honours the pad byte of odd-sized chunks, accepts a data chunk whose size
// runs past the end (as streamed recorders write it) by taking what is there.
std::variant<WavInfo, WavError> parseWav(std::string_view bytes);

}  // namespace pellum
