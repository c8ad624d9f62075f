#include "pcm_conversion.h"

#include <cassert>
#include <string>

namespace pellum::server {
namespace {

std::int16_t sampleAt(std::string_view bytes, std::size_t offset) {
  const auto low = static_cast<std::uint8_t>(bytes[offset]);
  const auto high = static_cast<std::uint8_t>(bytes[offset + 1]);
  return static_cast<std::int16_t>(static_cast<std::uint16_t>(low | (high << 8)));
}

}  // namespace

std::vector<std::int16_t> samplesFromBytes(std::string_view bytes) {
  std::vector<std::int16_t> samples(bytes.size() / 2);
  for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = sampleAt(bytes, 2 * i);
  return samples;
}

std::vector<std::int16_t> monoSamples(const WavInfo& info) {
  assert(info.isPcm16());
  const std::size_t channels = info.channels;
  const std::size_t frames = info.data.size() / (2 * channels);
  std::vector<std::int16_t> mono(frames);
  for (std::size_t frame = 0; frame < frames; ++frame) {
    std::int64_t sum = 0;
    for (std::size_t channel = 0; channel < channels; ++channel) {
      sum += sampleAt(info.data, 2 * (frame * channels + channel));
    }
    mono[frame] = static_cast<std::int16_t>(sum / static_cast<std::int64_t>(channels));
  }
  return mono;
}

Resampler::Resampler(int inputRate, int outputRate) : inputRate_(inputRate), outputRate_(outputRate) {
  assert(inputRate > 0 && outputRate > 0);
}

std::int16_t Resampler::at(std::int64_t index, std::span<const std::int16_t> block) const {
  return index < consumed_ ? previous_ : block[static_cast<std::size_t>(index - consumed_)];
}

std::vector<std::int16_t> Resampler::push(std::span<const std::int16_t> input) {
  if (inputRate_ == outputRate_) return {input.begin(), input.end()};
  std::vector<std::int16_t> output;
  output.reserve(input.size() * static_cast<std::size_t>(outputRate_) / static_cast<std::size_t>(inputRate_) +
                 2);
  const std::int64_t last = consumed_ + static_cast<std::int64_t>(input.size()) - 1;
  while (true) {
    const std::int64_t position = produced_ * inputRate_;
    const std::int64_t index = position / outputRate_;
    const std::int64_t remainder = position % outputRate_;
    if (index > last || (remainder != 0 && index + 1 > last)) break;
    const std::int64_t s0 = at(index, input);
    const std::int64_t s1 = remainder != 0 ? at(index + 1, input) : s0;
    output.push_back(static_cast<std::int16_t>(s0 + (s1 - s0) * remainder / outputRate_));
    ++produced_;
  }
  if (!input.empty()) previous_ = input.back();
  consumed_ = last + 1;
  return output;
}

std::vector<std::int16_t> SampleAssembler::push(std::string_view bytes) {
  if (!pending_) {
    if (bytes.size() % 2 != 0) pending_ = bytes.back();
    return samplesFromBytes(bytes);
  }
  std::string joined(1, *pending_);
  joined.append(bytes);
  pending_.reset();
  if (joined.size() % 2 != 0) pending_ = joined.back();
  return samplesFromBytes(joined);
}

}  // namespace pellum::server
