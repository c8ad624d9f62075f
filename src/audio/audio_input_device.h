#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace pellum {

// A microphone the user can record from.
struct AudioInputDevice {
  std::uint32_t id = 0;  // the sound server's index for it; changes between runs
  std::string uid;       // persistent identifier: stored as the user's choice, used to open it
  std::string name;      // display name, "Unknown" when it has none
  bool isBluetooth = false;
  bool isBuiltIn = false;
  // Made by software rather than a device: a noise-suppression filter
  // (EasyEffects, NoiseTorch, a PipeWire filter chain), a remapped or
  // combined source. Listed, since people pick them on purpose, and marked.
  bool isVirtual = false;

  bool operator==(const AudioInputDevice&) const = default;
};

// What the sound server says about one capture source.
struct CaptureSourceFacts {
  std::uint32_t index = 0;
  std::string name;                        // persistent, e.g. "alsa_input.pci-0000_00_1f.3.analog-stereo"
  std::optional<std::string> description;  // "Built-in Audio Analog Stereo"
  int channels = 0;
  bool isMonitor = false;   // the monitor of an output: never a microphone
  bool isHardware = false;  // backed by a device rather than a module
  std::string bus;          // "device.bus": "pci", "usb", "bluetooth", ...
  std::string formFactor;   // "device.form_factor": "internal", "headset", ...
};

// The device a source stands for, or nothing when it is not a usable
// microphone: no input channels, or a monitor of an output (hidden).
// Virtual when it is not hardware. Bluetooth when its bus is "bluetooth";
// built in when its form factor is "internal", or when it sits on the "pci"
// bus with no form factor.
std::optional<AudioInputDevice> inputDeviceFromSource(const CaptureSourceFacts& source);

// What Core Audio says about one hardware device (macOS). Failed reads
// leave the defaults: no input, not hidden, transport 0, no UID, no name.
struct CoreAudioDeviceFacts {
  std::uint32_t id = 0;             // AudioDeviceID
  int inputChannels = 0;            // summed over the input stream configuration's buffers
  bool isHidden = false;            // 'hidn'
  std::uint32_t transport = 0;      // 'tran', a four-character code
  std::optional<std::string> uid;   // 'uid '
  std::optional<std::string> name;  // 'lnam'
};

// Core Audio's transport types that the choice rule looks at.
namespace core_audio_transport {
inline constexpr std::uint32_t kBuiltIn = 0x626C746E;      // 'bltn'
inline constexpr std::uint32_t kBluetooth = 0x626C7565;    // 'blue'
inline constexpr std::uint32_t kBluetoothLE = 0x626C6561;  // 'blea'
inline constexpr std::uint32_t kVirtual = 0x76697274;      // 'virt'
}  // namespace core_audio_transport

// The device a Core Audio device stands for, or nothing when it is not
// listed: no input channels, hidden, virtual, or without a UID. Named
// "Unknown" without a name; Bluetooth for 'blue' and 'blea', built in for
// 'bltn'; never virtual (virtual devices are not listed there).
std::optional<AudioInputDevice> inputDeviceFromCoreAudio(const CoreAudioDeviceFacts& facts);

// The microphone to record from, and the warning to log, if any.
struct InputDeviceChoice {
  std::optional<AudioInputDevice> device;
  std::optional<std::string> warning;  // for the system log
};

// A stored choice that is listed wins. Otherwise (nothing stored, or the
// stored device is unplugged) the first built-in device, else the first
// hardware device that is not Bluetooth, else the first virtual one, else
// the first device with a warning that Bluetooth capture degrades the
// headset's output, else nothing.
InputDeviceChoice chooseInputDevice(const std::vector<AudioInputDevice>& devices,
                                    const std::optional<std::string>& storedUID);

}  // namespace pellum
