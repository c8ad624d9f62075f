#pragma once

#include <optional>
#include <string>
#include <vector>

#include "audio/audio_input_device.h"

namespace pellum {

// One-shot questions to the PulseAudio server (or PipeWire's pulse
// emulation), each on a short private connection. Any thread.
class PulseSources {
 public:
  // Every capture source, monitors included; nothing when the server cannot
  // be reached.
  static std::optional<std::vector<CaptureSourceFacts>> list();

  // Whether a sound server answers at all.
  static bool serverReachable();
};

}  // namespace pellum
