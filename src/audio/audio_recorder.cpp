#include "audio/audio_recorder.h"

#include <vector>

#include "audio/audio_level.h"
#include "audio/dictation_format.h"
#include "audio/wav.h"
#include "base/log_line.h"
#include "base/threads.h"

namespace pellum {

AudioRecorder::AudioRecorder(std::unique_ptr<CaptureSource> source, DeviceResolver resolveDevice)
    : source_(std::move(source)), resolveDevice_(std::move(resolveDevice)) {}

AudioRecorder::~AudioRecorder() {
  if (source_) source_->stop();
}

bool AudioRecorder::start(OnChunk onChunk, OnLevel onLevel) {
  {
    std::lock_guard guard(bufferLock_);
    onChunk_ = std::move(onChunk);
    onLevel_ = std::move(onLevel);
    pcmBuffer_.clear();
    chunker_.reset();
    speech_.reset();
  }
  const auto device = resolveDevice_ ? resolveDevice_() : std::nullopt;
  return startCapture(device);
}

bool AudioRecorder::startCapture(const std::optional<AudioInputDevice>& device) {
  if (!source_) {
    logLine("AudioRecorder: no audio capture device available");
    return false;
  }
  using StartResult = CaptureSource::StartResult;
  auto deliver = [this](const char* data, std::size_t size) { onCaptured(data, size); };
  std::string error;
  if (device) {
    const StartResult result = source_->start(device->uid, deliver, error);
    if (result == StartResult::started) return running_ = true;
    // A device that is there but refuses to record is a failure of its
    // own: recording from another microphone instead would surprise.
    if (result == StartResult::failed) {
      logLine("AudioRecorder: failed to create input for " + device->name + ": " + error);
      return false;
    }
  }
  // No device chosen, or it went away since the catalogue listed it: the
  // sound server's default input.
  switch (source_->start({}, deliver, error)) {
    case StartResult::started:
      return running_ = true;
    case StartResult::noSuchDevice:
      logLine("AudioRecorder: no audio capture device available");
      return false;
    case StartResult::failed:
      break;
  }
  logLine("AudioRecorder: session failed to start for default input");
  return false;
}

void AudioRecorder::onCaptured(const char* data, std::size_t size) {
  if (!data || size == 0) return;
  std::vector<std::string> chunks;
  OnChunk onChunk;
  OnLevel onLevel;
  {
    std::lock_guard guard(bufferLock_);
    pcmBuffer_.append(data, size);
    chunks = chunker_.append(std::string_view(data, size));
    onChunk = onChunk_;
    onLevel = onLevel_;
  }
  for (const auto& chunk : chunks) {
    if (onLevel) {
      const float level = chunkLevel(chunk);
      postToMainThread([onLevel, level] { onLevel(level); });
    }
    speech_.feed(chunk, onChunk);
  }
}

std::string AudioRecorder::stop() {
  if (running_ && source_) source_->stop();
  running_ = false;
  std::string remainder;
  std::string pcm;
  OnChunk onChunk;
  {
    std::lock_guard guard(bufferLock_);
    remainder = chunker_.takeRemainder();
    pcm = pcmBuffer_;
    onChunk = std::exchange(onChunk_, nullptr);
    onLevel_ = nullptr;
  }
  speech_.finish(remainder, onChunk);
  return wavData(pcm, kDictationSampleRate);
}

bool AudioRecorder::speechDetected() const { return speech_.speechDetected(); }

}  // namespace pellum
