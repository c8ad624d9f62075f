#include "audio/audio_input_device.h"

#include <algorithm>

namespace pellum {

std::optional<AudioInputDevice> inputDeviceFromSource(const CaptureSourceFacts& source) {
  if (source.channels <= 0 || source.isMonitor || source.name.empty()) return std::nullopt;
  AudioInputDevice device;
  device.id = source.index;
  device.uid = source.name;
  device.name = source.description && !source.description->empty() ? *source.description : "Unknown";
  device.isBluetooth = source.bus == "bluetooth";
  device.isBuiltIn = source.formFactor == "internal" || (source.formFactor.empty() && source.bus == "pci");
  device.isVirtual = !source.isHardware;
  return device;
}

std::optional<AudioInputDevice> inputDeviceFromCoreAudio(const CoreAudioDeviceFacts& facts) {
  namespace transport = core_audio_transport;
  if (facts.inputChannels <= 0 || facts.isHidden || facts.transport == transport::kVirtual || !facts.uid)
    return std::nullopt;
  AudioInputDevice device;
  device.id = facts.id;
  device.uid = *facts.uid;
  device.name = facts.name ? *facts.name : "Unknown";
  device.isBluetooth = facts.transport == transport::kBluetooth || facts.transport == transport::kBluetoothLE;
  device.isBuiltIn = facts.transport == transport::kBuiltIn;
  return device;
}

InputDeviceChoice chooseInputDevice(const std::vector<AudioInputDevice>& devices,
                                    const std::optional<std::string>& storedUID) {
  auto firstWhere = [&devices](auto predicate) -> std::optional<AudioInputDevice> {
    const auto it = std::find_if(devices.begin(), devices.end(), predicate);
    if (it == devices.end()) return std::nullopt;
    return *it;
  };
  if (storedUID) {
    if (auto stored = firstWhere([&](const AudioInputDevice& d) { return d.uid == *storedUID; }))
      return {stored, {}};
  }
  if (auto builtIn = firstWhere([](const AudioInputDevice& d) { return d.isBuiltIn; })) return {builtIn, {}};
  if (auto wired = firstWhere([](const AudioInputDevice& d) { return !d.isBluetooth && !d.isVirtual; })) {
    return {wired, {}};
  }
  if (auto filtered = firstWhere([](const AudioInputDevice& d) { return !d.isBluetooth; }))
    return {filtered, {}};
  if (devices.empty()) return {};
  return {devices.front(), "Pellum: only Bluetooth input available (" + devices.front().name +
                               "); recording will force HFP and degrade output audio quality"};
}

}  // namespace pellum
