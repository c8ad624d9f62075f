#pragma once

#include <optional>
#include <string>
#include <vector>

#include "audio/audio_input_device.h"

namespace pellum {

// The microphones the user can choose from, and the one a recording uses.
// Each call asks the sound server afresh; nothing is cached. Main thread.
class InputDeviceCatalogue {
 public:
  // Every usable microphone, in the sound server's order; empty when the
  // server cannot be reached.
  static std::vector<AudioInputDevice> listInputDevices();

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
