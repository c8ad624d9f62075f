#include "audio/audio_recorder.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <cstdio>
#include <vector>

#include "audio/audio_level.h"
#include "audio/wav.h"

namespace pellum {
namespace {

void logLine(const std::string& line) {
  std::fprintf(stdout, "%s\n", line.c_str());
  std::fflush(stdout);
}

// Posts `work` to the main thread; runs it at once when there is no
// application (command-line tools without an event loop).
void postToMainThread(std::function<void()> work) {
  if (auto* app = QCoreApplication::instance()) {
    QMetaObject::invokeMethod(app, std::move(work), Qt::QueuedConnection);
  } else {
    work();
  }
}

}  // namespace

AudioRecorder::AudioRecorder(std::unique_ptr<CaptureSource> source, DeviceResolver resolveDevice)
    : source_(std::move(source)),
      resolveDevice_(std::move(resolveDevice)),
      vad_(VoiceActivityDetector::create(16000, VoiceActivityDetector::Mode::veryAggressive)) {
  if (vad_) {
    gate_ = SpeechGate([vad = vad_.get()](const std::string& chunk) { return vad->isVoice(chunk); });
  }
}

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
    gate_.reset();
    if (vad_) vad_->reset();
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
    gate_.feed(chunk, onChunk);
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
  if (!remainder.empty() && gate_.speechDetected() && onChunk) onChunk(remainder);
  return wavData(pcm, 16000.0);
}

bool AudioRecorder::speechDetected() const { return gate_.speechDetected(); }

}  // namespace pellum
