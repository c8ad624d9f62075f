#include "audio/feedback_sound_synthesis.h"

#include <cmath>
#include <numbers>

namespace pellum {
namespace {

// Appends a tone gliding from `fromHz` to `toHz` with a raised-cosine
// envelope of `fadeMs` at each end.
void appendTone(std::vector<std::int16_t>& out, int sampleRate, double milliseconds, double fromHz,
                double toHz, double amplitude, double fadeMs) {
  const auto count = static_cast<std::size_t>(sampleRate * milliseconds / 1000.0);
  const auto fade = static_cast<std::size_t>(sampleRate * fadeMs / 1000.0);
  double phase = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    const double progress = static_cast<double>(i) / static_cast<double>(count);
    const double frequency = fromHz + (toHz - fromHz) * progress;
    phase += 2.0 * std::numbers::pi * frequency / sampleRate;
    double envelope = 1.0;
    if (i < fade)
      envelope = 0.5 - 0.5 * std::cos(std::numbers::pi * static_cast<double>(i) / static_cast<double>(fade));
    if (count - i < fade) {
      envelope =
          0.5 - 0.5 * std::cos(std::numbers::pi * static_cast<double>(count - i) / static_cast<double>(fade));
    }
    // A little of the second harmonic makes the tone less bare.
    const double value = std::sin(phase) + 0.25 * std::sin(2.0 * phase);
    out.push_back(static_cast<std::int16_t>(amplitude * envelope * value / 1.25 * 32767.0));
  }
}

void appendSilence(std::vector<std::int16_t>& out, int sampleRate, double milliseconds) {
  out.insert(out.end(), static_cast<std::size_t>(sampleRate * milliseconds / 1000.0), 0);
}

}  // namespace

std::vector<std::int16_t> synthesizeMorse(int sampleRate) {
  std::vector<std::int16_t> out;
  appendTone(out, sampleRate, 45, 1320, 1320, 0.35, 6);
  appendSilence(out, sampleRate, 40);
  appendTone(out, sampleRate, 45, 1320, 1320, 0.35, 6);
  return out;
}

std::vector<std::int16_t> synthesizePurr(int sampleRate) {
  std::vector<std::int16_t> out;
  appendTone(out, sampleRate, 70, 392, 440, 0.3, 15);
  appendTone(out, sampleRate, 110, 523, 587, 0.3, 25);
  return out;
}

}  // namespace pellum
