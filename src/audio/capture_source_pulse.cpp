// Capture through PulseAudio's asynchronous API on a threaded main loop. The
// connection to the server is made once and kept, so a key press only has
// to open a record stream: with a 960-byte fragment and latency adjustment
// the first audio arrives within a few tens of milliseconds.

#include <pulse/pulseaudio.h>

#include <chrono>

#include "audio/capture_source.h"
#include "audio/dictation_format.h"
#include "audio/pulse_connection.h"

namespace pellum {
namespace {

constexpr pa_sample_spec kSpec{PA_SAMPLE_S16LE, kDictationSampleRate, kDictationChannels};
constexpr std::uint32_t kFragmentBytes = kDictationChunkBytes;
constexpr auto kReadyTimeout = std::chrono::seconds(3);

class PulseCaptureSource : public CaptureSource {
 public:
  PulseCaptureSource() : loop_(pa_threaded_mainloop_new()) {
    if (loop_) pa_threaded_mainloop_set_name(loop_, kThreadName);
  }

  ~PulseCaptureSource() override {
    stop();
    endPulseConnection(loop_, context_);
  }

  StartResult start(const std::string& device, Deliver deliver, std::string& error) override {
    if (!loop_) return failed(error, "cannot create the PulseAudio main loop");
    if (!running_) {
      if (pa_threaded_mainloop_start(loop_) < 0)
        return failed(error, "cannot start the PulseAudio main loop");
      running_ = true;
    }
    pa_threaded_mainloop_lock(loop_);
    StartResult result = StartResult::failed;
    if (ensureContext(error)) {
      if (openStream(device, std::move(deliver), error)) {
        result = StartResult::started;
      } else if (pa_context_errno(context_) == PA_ERR_NOENTITY) {
        result = StartResult::noSuchDevice;
      }
    }
    pa_threaded_mainloop_unlock(loop_);
    return result;
  }

  void stop() override {
    if (!loop_ || !running_) return;
    pa_threaded_mainloop_lock(loop_);
    closeStream();
    pa_threaded_mainloop_unlock(loop_);
  }

 private:
  static StartResult failed(std::string& error, std::string reason) {
    error = std::move(reason);
    return StartResult::failed;
  }

  static bool fail(std::string& error, std::string reason) {
    error = std::move(reason);
    return false;
  }

  // Waits (main loop locked) until `done` holds. State callbacks signal the
  // loop; a timer signals it too, so a silent server cannot hold us past
  // kReadyTimeout.
  template <class Done>
  bool waitUntil(Done done) {
    const auto deadline = std::chrono::steady_clock::now() + kReadyTimeout;
    pa_mainloop_api* api = pa_threaded_mainloop_get_api(loop_);
    while (!done() && std::chrono::steady_clock::now() < deadline) {
      timeval when{};
      pa_timeval_add(pa_gettimeofday(&when), 50 * PA_USEC_PER_MSEC);
      pa_time_event* tick = api->time_new(api, &when, &signalLoop, loop_);
      pa_threaded_mainloop_wait(loop_);
      api->time_free(tick);
    }
    return done();
  }

  static void signalLoop(pa_mainloop_api*, pa_time_event*, const timeval*, void* loop) {
    pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop*>(loop), 0);
  }

  bool ensureContext(std::string& error) {
    if (context_ && pa_context_get_state(context_) == PA_CONTEXT_READY) return true;
    if (context_) {
      pa_context_disconnect(context_);
      pa_context_unref(context_);
    }
    context_ = pa_context_new(pa_threaded_mainloop_get_api(loop_), "Pellum");
    if (!context_) return fail(error, "cannot create a PulseAudio context");
    pa_context_set_state_callback(
        context_,
        [](pa_context*, void* loop) {
          pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop*>(loop), 0);
        },
        loop_);
    if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
      return fail(error, pa_strerror(pa_context_errno(context_)));
    }
    const bool settled = waitUntil([this] {
      const auto state = pa_context_get_state(context_);
      return state == PA_CONTEXT_READY || !PA_CONTEXT_IS_GOOD(state);
    });
    if (settled && pa_context_get_state(context_) == PA_CONTEXT_READY) return true;
    return fail(error, settled ? pa_strerror(pa_context_errno(context_)) : "the sound server did not answer");
  }

  bool openStream(const std::string& device, Deliver deliver, std::string& error) {
    closeStream();
    deliver_ = std::move(deliver);
    stream_ = pa_stream_new(context_, "Dictation", &kSpec, nullptr);
    if (!stream_) return fail(error, pa_strerror(pa_context_errno(context_)));
    pa_stream_set_state_callback(
        stream_,
        [](pa_stream*, void* loop) {
          pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop*>(loop), 0);
        },
        loop_);
    pa_stream_set_read_callback(
        stream_,
        [](pa_stream* stream, std::size_t, void* self) {
          static_cast<PulseCaptureSource*>(self)->onReadable(stream);
        },
        this);
    pa_buffer_attr attributes{};
    attributes.maxlength = static_cast<std::uint32_t>(-1);
    attributes.fragsize = kFragmentBytes;
    const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY);
    if (pa_stream_connect_record(stream_, device.empty() ? nullptr : device.c_str(), &attributes, flags) <
        0) {
      fail(error, pa_strerror(pa_context_errno(context_)));
      closeStream();
      return false;
    }
    const bool settled = waitUntil([this] {
      const auto state = pa_stream_get_state(stream_);
      return state == PA_STREAM_READY || !PA_STREAM_IS_GOOD(state);
    });
    if (settled && pa_stream_get_state(stream_) == PA_STREAM_READY) return true;
    fail(error, settled ? pa_strerror(pa_context_errno(context_)) : "the record stream did not start");
    closeStream();
    return false;
  }

  void closeStream() {
    if (stream_) {
      pa_stream_set_read_callback(stream_, nullptr, nullptr);
      pa_stream_set_state_callback(stream_, nullptr, nullptr);
      pa_stream_disconnect(stream_);
      pa_stream_unref(stream_);
      stream_ = nullptr;
    }
    deliver_ = nullptr;
  }

  // On the main loop's thread, with the loop locked.
  void onReadable(pa_stream* stream) {
    const void* data = nullptr;
    std::size_t size = 0;
    while (pa_stream_readable_size(stream) > 0) {
      if (pa_stream_peek(stream, &data, &size) < 0 || size == 0) return;
      // A hole (data == nullptr) is audio the server lost; there is nothing
      // to deliver for it.
      if (data && deliver_) deliver_(static_cast<const char*>(data), size);
      pa_stream_drop(stream);
    }
  }

  pa_threaded_mainloop* loop_;
  pa_context* context_ = nullptr;
  pa_stream* stream_ = nullptr;
  bool running_ = false;
  Deliver deliver_;
};

}  // namespace

std::unique_ptr<CaptureSource> makePulseCaptureSource() { return std::make_unique<PulseCaptureSource>(); }

std::unique_ptr<CaptureSource> makeSystemCaptureSource() { return makePulseCaptureSource(); }

}  // namespace pellum
