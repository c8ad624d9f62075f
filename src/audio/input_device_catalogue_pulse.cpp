// The microphones as the PulseAudio server (or PipeWire's pulse service)
// lists its capture sources.

#include "audio/input_device_catalogue.h"
#include "audio/pulse_sources.h"

namespace pellum {

std::vector<AudioInputDevice> InputDeviceCatalogue::listInputDevices() {
  std::vector<AudioInputDevice> devices;
  for (const auto& source : PulseSources::list().value_or(std::vector<CaptureSourceFacts>{})) {
    if (auto device = inputDeviceFromSource(source)) devices.push_back(std::move(*device));
  }
  return devices;
}

bool InputDeviceCatalogue::soundSystemReachable() { return PulseSources::serverReachable(); }

}  // namespace pellum
