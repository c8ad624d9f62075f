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
