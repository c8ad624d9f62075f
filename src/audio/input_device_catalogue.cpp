#include "audio/input_device_catalogue.h"

#include "audio/pulse_sources.h"
#include "audio/system_log.h"

namespace pellum {

std::vector<AudioInputDevice> InputDeviceCatalogue::listInputDevices() {
  std::vector<AudioInputDevice> devices;
  for (const auto& source : PulseSources::list().value_or(std::vector<CaptureSourceFacts>{})) {
    if (auto device = inputDeviceFromSource(source)) devices.push_back(std::move(*device));
  }
  return devices;
}

namespace {

std::optional<AudioInputDevice> chooseAndWarn(const std::vector<AudioInputDevice>& devices,
                                              const std::optional<std::string>& storedUID) {
  auto choice = chooseInputDevice(devices, storedUID);
  if (choice.warning) writeSystemLogWarning(*choice.warning);
  return choice.device;
}

}  // namespace

std::optional<AudioInputDevice> InputDeviceCatalogue::resolveInputDevice(
    const std::optional<std::string>& storedUID) {
  return chooseAndWarn(listInputDevices(), storedUID);
}

std::optional<AudioInputDevice> InputDeviceCatalogue::automaticInputDevice(
    const std::vector<AudioInputDevice>& devices) {
  return chooseAndWarn(devices, std::nullopt);
}

}  // namespace pellum
