#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "audio/wav.h"

namespace pellum::server {

// Little-endian 16-bit PCM bytes as samples; a trailing odd byte is ignored.
std::vector<std::int16_t> samplesFromBytes(std::string_view bytes);

// The samples of a 16-bit PCM WAV, channels averaged into one.
// Requires info.isPcm16().
std::vector<std::int16_t> monoSamples(const WavInfo& info);

// Converts a stream of samples from one rate to another by linear
// interpolation between neighbouring input samples. Stateful across blocks,
// so a stream cut into arbitrary blocks gives the same output as one block.
// Speech decoding tolerates the missing low-pass filter on the way down well
// enough: bench/server_wer_bench.cpp scores uploads at 44.1 kHz stereo too.
class Resampler {
 public:
  Resampler(int inputRate, int outputRate);

  std::vector<std::int16_t> push(std::span<const std::int16_t> input);

 private:
  std::int16_t at(std::int64_t index, std::span<const std::int16_t> block) const;

  std::int64_t inputRate_;
  std::int64_t outputRate_;
  std::int64_t consumed_ = 0;  // absolute index of the block's first sample
  std::int64_t produced_ = 0;  // output samples so far
  std::int16_t previous_ = 0;  // the sample at consumed_ - 1
};

// Splits a byte stream into samples, holding back an odd trailing byte for
// the next block (a client may cut its audio anywhere).
class SampleAssembler {
 public:
  std::vector<std::int16_t> push(std::string_view bytes);

 private:
  std::optional<char> pending_;
};

}  // namespace pellum::server
