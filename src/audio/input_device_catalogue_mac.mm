// The microphones on macOS, read from Core Audio's hardware properties into
// CoreAudioDeviceFacts; which of them are listed, and how they are marked,
// is inputDeviceFromCoreAudio's business (audio_input_device.cpp).
//
// - AudioObjectGetPropertyDataSize / AudioObjectGetPropertyData: every
//   property is addressed by selector, scope and element; the element is
//   always kAudioObjectPropertyElementMain (the macOS 12 name of element 0).
//   On return ioDataSize holds the bytes actually written, so the device
//   list is cut to that.
// - kAudioHardwarePropertyDevices on kAudioObjectSystemObject: an array of
//   AudioDeviceID, in the order the hardware lists them.
// - kAudioDevicePropertyStreamConfiguration in the input scope: an
//   AudioBufferList whose buffers' mNumberChannels add up to the device's
//   input channels (0 for an output-only device). Its size varies with the
//   number of buffers, hence the size query first.
// - kAudioDevicePropertyIsHidden, kAudioDevicePropertyTransportType: UInt32.
// - kAudioDevicePropertyDeviceUID, kAudioObjectPropertyName: a CFStringRef
//   the caller owns and releases (Core Audio's rule for CF properties).
// Every failed read leaves the fact at its default; nothing is logged.

#include <CoreAudio/CoreAudio.h>
#import <Foundation/Foundation.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "audio/input_device_catalogue.h"

namespace pellum {
namespace {

AudioObjectPropertyAddress address(AudioObjectPropertySelector selector,
                                   AudioObjectPropertyScope scope = kAudioObjectPropertyScopeGlobal) {
  return {selector, scope, kAudioObjectPropertyElementMain};
}

std::vector<AudioDeviceID> hardwareDevices() {
  const AudioObjectPropertyAddress where = address(kAudioHardwarePropertyDevices);
  UInt32 size = 0;
  if (AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, &where, 0, nullptr, &size) != noErr ||
      size == 0)
    return {};
  std::vector<AudioDeviceID> devices(size / sizeof(AudioDeviceID));
  size = static_cast<UInt32>(devices.size() * sizeof(AudioDeviceID));
  if (AudioObjectGetPropertyData(kAudioObjectSystemObject, &where, 0, nullptr, &size, devices.data()) !=
      noErr)
    return {};
  devices.resize(size / sizeof(AudioDeviceID));
  return devices;
}

int inputChannels(AudioDeviceID device) {
  const AudioObjectPropertyAddress where =
      address(kAudioDevicePropertyStreamConfiguration, kAudioObjectPropertyScopeInput);
  UInt32 size = 0;
  if (AudioObjectGetPropertyDataSize(device, &where, 0, nullptr, &size) != noErr || size == 0) return 0;
  // malloc's alignment suits the list's pointers; a byte vector's may not.
  std::unique_ptr<AudioBufferList, decltype(&std::free)> list(
      static_cast<AudioBufferList*>(std::malloc(size)), &std::free);
  if (!list || AudioObjectGetPropertyData(device, &where, 0, nullptr, &size, list.get()) != noErr) return 0;
  if (size < offsetof(AudioBufferList, mBuffers)) return 0;
  const std::size_t fits = (size - offsetof(AudioBufferList, mBuffers)) / sizeof(AudioBuffer);
  const std::size_t buffers = std::min<std::size_t>(list->mNumberBuffers, fits);
  int channels = 0;
  for (std::size_t i = 0; i < buffers; ++i) channels += static_cast<int>(list->mBuffers[i].mNumberChannels);
  return channels;
}

std::optional<UInt32> readNumber(AudioDeviceID device, AudioObjectPropertySelector selector) {
  const AudioObjectPropertyAddress where = address(selector);
  UInt32 value = 0;
  UInt32 size = sizeof value;
  if (AudioObjectGetPropertyData(device, &where, 0, nullptr, &size, &value) != noErr) return std::nullopt;
  return value;
}

std::optional<std::string> readText(AudioDeviceID device, AudioObjectPropertySelector selector) {
  const AudioObjectPropertyAddress where = address(selector);
  CFStringRef value = nullptr;
  UInt32 size = sizeof value;
  if (AudioObjectGetPropertyData(device, &where, 0, nullptr, &size, &value) != noErr || !value)
    return std::nullopt;
  NSString* text = CFBridgingRelease(value);
  const char* bytes = text.UTF8String;
  if (!bytes) return std::nullopt;
  return std::string(bytes);
}

CoreAudioDeviceFacts factsOf(AudioDeviceID device) {
  CoreAudioDeviceFacts facts;
  facts.id = device;
  facts.inputChannels = inputChannels(device);
  facts.isHidden = readNumber(device, kAudioDevicePropertyIsHidden).value_or(0) != 0;
  facts.transport = readNumber(device, kAudioDevicePropertyTransportType).value_or(0);
  facts.uid = readText(device, kAudioDevicePropertyDeviceUID);
  facts.name = readText(device, kAudioObjectPropertyName);
  return facts;
}

}  // namespace

std::vector<AudioInputDevice> InputDeviceCatalogue::listInputDevices() {
  std::vector<AudioInputDevice> devices;
  for (const AudioDeviceID device : hardwareDevices()) {
    if (auto listed = inputDeviceFromCoreAudio(factsOf(device))) devices.push_back(std::move(*listed));
  }
  return devices;
}

bool InputDeviceCatalogue::soundSystemReachable() { return true; }

}  // namespace pellum
