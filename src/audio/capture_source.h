#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace pellum {

// Where recorded audio comes from: 16 kHz mono signed 16-bit little-endian
// PCM, delivered in buffers of any size on one serial capture thread.
//
// start and stop are called from the main thread. stop is synchronous:
// once it returns, no delivery runs or will run.
class CaptureSource {
 public:
  using Deliver = std::function<void(const char* data, std::size_t size)>;

  virtual ~CaptureSource() = default;

  enum class StartResult { started, noSuchDevice, failed };

  // Starts capturing from the source named `device` (empty: the sound
  // server's default input). `noSuchDevice` when the sound server has no
  // such source (or no default input at all); `failed` when it has one but
  // cannot record from it. On failure `error` holds a readable reason.
  virtual StartResult start(const std::string& device, Deliver deliver, std::string& error) = 0;
  virtual void stop() = 0;

  // The name of the capture thread, for diagnostics.
  static constexpr const char* kThreadName = "app.pellum.audio.capture";
};

// The PulseAudio backend (also PipeWire through pipewire-pulse).
std::unique_ptr<CaptureSource> makePulseCaptureSource();

// The platform's backend: PulseAudio on Linux (capture_source_pulse.cpp),
// AVFoundation on macOS (capture_source_mac.mm, where `device` is an
// AVCaptureDevice unique ID).
std::unique_ptr<CaptureSource> makeSystemCaptureSource();

}  // namespace pellum
