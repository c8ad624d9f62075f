#pragma once

#include <optional>
#include <string>
#include <vector>

#include "audio/audio_input_device.h"

namespace pellum {

// The microphones the user can choose from, and the one a recording uses.
// Each call asks the sound system afresh; nothing is cached. Main thread.
// The listing is the platform's (input_device_catalogue_pulse.cpp,
// input_device_catalogue_mac.mm over Core Audio); the choice rule is shared.
class InputDeviceCatalogue {
 public:
  // Every usable microphone, in the sound system's order; empty when it
  // cannot be asked.
  static std::vector<AudioInputDevice> listInputDevices();

  // Whether there is a sound system to record through at all: a PulseAudio
  // (or PipeWire) server on Linux; always on macOS.
  static bool soundSystemReachable();

  // The device to record from by the choice rule, given the stored choice
  // (`storedUID`; nothing for automatic). Writes the Bluetooth-only warning
  // to the system log when that branch decides.
  static std::optional<AudioInputDevice> resolveInputDevice(const std::optional<std::string>& storedUID);
  // What "Automatic" records from among `devices`; writes the Bluetooth-only
  // warning too, so the menu's every build of its microphone rows warns as
  // a recording does.
  static std::optional<AudioInputDevice> automaticInputDevice(const std::vector<AudioInputDevice>& devices);
};

}  // namespace pellum
