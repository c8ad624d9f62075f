// Capture through AVFoundation: a capture session with the microphone's
// device input and an audio data output that converts to the dictation
// format and hands sample buffers to a delegate on our serial queue.
//
// - +[AVCaptureDevice deviceWithUniqueID:] is given the Core Audio device
//   UID the catalogue listed, taken to be the microphone's uniqueID (both
//   persist across reconnections and reboots); nil when no such device
//   exists. +defaultDeviceWithMediaType:AVMediaTypeAudio is the system's
//   default input, nil when there is none.
// - -[AVCaptureDeviceInput initWithDevice:error:] opens the device, and
//   fails with an NSError when it is gone or in use.
// - AVCaptureAudioDataOutput.audioSettings (macOS only) makes the output
//   decode or re-encode to the given linear PCM format before delivery;
//   without it buffers would come in the device's native format.
// - -setSampleBufferDelegate:queue: calls the delegate on that queue, which
//   must be serial for buffers to arrive in order; a nil delegate takes a
//   nil queue.
// - CMSampleBufferGetDataBuffer does not hand over ownership; the block
//   buffer lives as long as the sample buffer, that is, through the
//   callback. CMBlockBufferGetDataPointer gives the bytes at offset 0 and
//   how many of them are contiguous; a buffer in several pieces is copied
//   out with CMBlockBufferCopyDataBytes.
// - -startRunning and -stopRunning are synchronous: they return once the
//   session runs (or failed to) and once it has stopped completely.
// - -startRunning may not be called between beginConfiguration and
//   commitConfiguration, so a session is committed before it starts.

#import <AVFoundation/AVFoundation.h>
#include <CoreMedia/CoreMedia.h>

#include <memory>
#include <string>
#include <vector>

#include "audio/capture_source.h"
#include "audio/dictation_format.h"
#include "base/log_line.h"

// The output's delegate: passes each buffer's bytes to `deliver` on the
// capture queue, until it is told to forget it (on that same queue).
@interface PellumCaptureDelegate : NSObject <AVCaptureAudioDataOutputSampleBufferDelegate>
- (instancetype)initWithDeliver:(pellum::CaptureSource::Deliver)deliver;
- (void)forget;
@end

@implementation PellumCaptureDelegate {
  pellum::CaptureSource::Deliver _deliver;
}

- (instancetype)initWithDeliver:(pellum::CaptureSource::Deliver)deliver {
  if ((self = [super init])) _deliver = std::move(deliver);
  return self;
}

- (void)forget {
  _deliver = nullptr;
}

- (void)captureOutput:(AVCaptureOutput*)output
    didOutputSampleBuffer:(CMSampleBufferRef)sampleBuffer
           fromConnection:(AVCaptureConnection*)connection {
  if (!_deliver) return;
  CMBlockBufferRef block = CMSampleBufferGetDataBuffer(sampleBuffer);
  if (!block) return;
  size_t contiguous = 0;
  size_t total = 0;
  char* data = nullptr;
  if (CMBlockBufferGetDataPointer(block, 0, &contiguous, &total, &data) != kCMBlockBufferNoErr || !data ||
      total < 1)
    return;
  if (contiguous >= total) {
    _deliver(data, total);
    return;
  }
  std::vector<char> copy(total);
  if (CMBlockBufferCopyDataBytes(block, 0, total, copy.data()) != kCMBlockBufferNoErr) return;
  _deliver(copy.data(), copy.size());
}

@end

namespace pellum {
namespace {

std::string utf8(NSString* text) {
  const char* bytes = text.UTF8String;
  return bytes ? bytes : "";
}

// What the output is asked for: the dictation format, 16-bit signed
// little-endian interleaved linear PCM.
NSDictionary<NSString*, id>* dictationAudioSettings() {
  return @{
    AVFormatIDKey : @(static_cast<AudioFormatID>(kAudioFormatLinearPCM)),
    AVSampleRateKey : @(static_cast<double>(kDictationSampleRate)),
    AVNumberOfChannelsKey : @(kDictationChannels),
    AVLinearPCMBitDepthKey : @16,
    AVLinearPCMIsFloatKey : @NO,
    AVLinearPCMIsBigEndianKey : @NO,
    AVLinearPCMIsNonInterleaved : @NO,
  };
}

AVCaptureDevice* findDevice(const std::string& uniqueId) {
  if (uniqueId.empty()) return [AVCaptureDevice defaultDeviceWithMediaType:AVMediaTypeAudio];
  return [AVCaptureDevice deviceWithUniqueID:[NSString stringWithUTF8String:uniqueId.c_str()]];
}

class MacCaptureSource : public CaptureSource {
 public:
  MacCaptureSource() : queue_(dispatch_queue_create(kThreadName, DISPATCH_QUEUE_SERIAL)) {}
  ~MacCaptureSource() override { stop(); }

  StartResult start(const std::string& device, Deliver deliver, std::string& error) override {
    stop();
    AVCaptureDevice* microphone = findDevice(device);
    if (!microphone) {
      error = device.empty() ? "there is no default audio input" : "no audio input has that unique ID";
      return StartResult::noSuchDevice;
    }
    const std::string name = utf8(microphone.localizedName);
    AVCaptureSession* session = [[AVCaptureSession alloc] init];
    [session beginConfiguration];
    NSError* failure = nil;
    AVCaptureDeviceInput* input = [[AVCaptureDeviceInput alloc] initWithDevice:microphone error:&failure];
    if (!input)
      return failed(error, failure ? utf8(failure.localizedDescription) : "the device cannot be opened");
    if (![session canAddInput:input]) {
      logLine("AudioRecorder: session cannot add input for " + name);
      return failed(error, "the capture session cannot take its input");
    }
    [session addInput:input];
    AVCaptureAudioDataOutput* output = [[AVCaptureAudioDataOutput alloc] init];
    output.audioSettings = dictationAudioSettings();
    PellumCaptureDelegate* delegate = [[PellumCaptureDelegate alloc] initWithDeliver:std::move(deliver)];
    [output setSampleBufferDelegate:delegate queue:queue_];
    if (![session canAddOutput:output]) {
      logLine("AudioRecorder: session cannot add output");
      return failed(error, "the capture session cannot take the audio output");
    }
    [session addOutput:output];
    [session commitConfiguration];
    [session startRunning];
    session_ = session;
    output_ = output;
    delegate_ = delegate;
    if (session.running) return StartResult::started;
    stop();
    logLine("AudioRecorder: session failed to start for " + name);
    return failed(error, "the capture session did not start");
  }

  // After stopRunning no new buffer is captured; clearing the delegate and
  // then making it forget `deliver` on the capture queue itself waits out a
  // callback already running and disarms one already queued.
  void stop() override {
    if (!session_) return;
    [session_ stopRunning];
    [output_ setSampleBufferDelegate:nil queue:nil];
    PellumCaptureDelegate* delegate = delegate_;
    dispatch_sync(queue_, ^{
      [delegate forget];
    });
    session_ = nil;
    output_ = nil;
    delegate_ = nil;
  }

 private:
  static StartResult failed(std::string& error, std::string reason) {
    error = std::move(reason);
    return StartResult::failed;
  }

  dispatch_queue_t queue_;
  AVCaptureSession* session_ = nil;
  AVCaptureAudioDataOutput* output_ = nil;
  PellumCaptureDelegate* delegate_ = nil;
};

}  // namespace

std::unique_ptr<CaptureSource> makeSystemCaptureSource() { return std::make_unique<MacCaptureSource>(); }

}  // namespace pellum
