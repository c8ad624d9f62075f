#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "audio/audio_input_device.h"
#include "audio/capture_source.h"
#include "audio/dictation_speech_gate.h"
#include "audio/pcm_chunker.h"

namespace pellum {

// Records the chosen microphone while the dictation key is held, serving the
// audio two ways at once: 960-byte (30 ms) chunks to `onChunk` once speech is
// confirmed, and the whole recording as a WAV image from `stop`. A level per
// chunk goes to `onLevel` on the main thread for the waveform.
//
// Threads: start and stop on the main thread. Capture, chunking, the
// detector, the speech gate and `onChunk` run on the capture thread
// ("app.pellum.audio.capture"), except the final remainder, which `stop`
// delivers on the main thread. `bufferLock_` guards the byte buffers and
// the callbacks.
class AudioRecorder {
 public:
  using OnChunk = std::function<void(const std::string& chunk)>;
  using OnLevel = std::function<void(float level)>;
  // The device to record from; nothing for the sound server's default.
  using DeviceResolver = std::function<std::optional<AudioInputDevice>()>;

  AudioRecorder(std::unique_ptr<CaptureSource> source, DeviceResolver resolveDevice);
  ~AudioRecorder();
  AudioRecorder(const AudioRecorder&) = delete;
  AudioRecorder& operator=(const AudioRecorder&) = delete;

  // Starts capture; false (with a log line) when no device could be opened.
  // The caller must stop a running recording before starting another.
  bool start(OnChunk onChunk, OnLevel onLevel);

  // Stops capture synchronously, delivers the last partial chunk when speech
  // was confirmed, forgets both callbacks and returns the whole recording as
  // WAV (a bare 44-byte header when nothing was captured).
  std::string stop();

  // Whether the detector could be created; without it every chunk counts as
  // voiced.
  bool hasDetector() const { return speech_.hasDetector(); }
  bool speechDetected() const;

 private:
  void onCaptured(const char* data, std::size_t size);  // capture thread
  bool startCapture(const std::optional<AudioInputDevice>& device);

  std::unique_ptr<CaptureSource> source_;
  DeviceResolver resolveDevice_;

  mutable std::mutex bufferLock_;
  std::string pcmBuffer_;
  PcmChunker chunker_;
  OnChunk onChunk_;
  OnLevel onLevel_;
  bool running_ = false;

  DictationSpeechGate speech_;  // capture thread, and start/stop while capture is stopped
};

}  // namespace pellum
