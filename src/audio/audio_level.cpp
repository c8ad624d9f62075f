#include "audio/audio_level.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace pellum {

float chunkLevel(std::string_view chunk) {
  const std::size_t n = chunk.size() / 2;
  if (n == 0) return 0.0f;
  double sumOfSquares = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    std::int16_t sample;
    std::memcpy(&sample, chunk.data() + 2 * i, 2);
    sumOfSquares += static_cast<double>(sample) * sample;
  }
  const double rms = std::sqrt(sumOfSquares / static_cast<double>(n));
  const double level = std::pow(rms * std::ldexp(1.0, -15) / 0.15, 0.6);
  return static_cast<float>(std::min(level, 1.0));
}

}  // namespace pellum
