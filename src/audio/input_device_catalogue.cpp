#include "audio/input_device_catalogue.h"

// The choice among the listed devices, shared by every platform; the
// listing itself is the platform's (input_device_catalogue_pulse.cpp,
// input_device_catalogue_mac.mm).

#include "audio/system_log.h"

namespace pellum {
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
