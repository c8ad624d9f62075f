// Feedback sounds as PulseAudio samples: both are uploaded to the server's
// sample cache once, at start, and each play is a single request that the
// server mixes itself, with no stream to open and no latency to build up.

#include <pulse/pulseaudio.h>

#include <vector>

#include "audio/feedback_sound_synthesis.h"
#include "audio/feedback_sounds.h"
#include "audio/pulse_connection.h"

namespace pellum {
namespace {

constexpr int kRate = 44100;

std::string sampleName(FeedbackSounds::Sound sound) { return "pellum-" + soundName(sound); }

class PulseFeedbackSounds : public FeedbackSounds {
 public:
  PulseFeedbackSounds() : loop_(pa_threaded_mainloop_new()) {
    if (!loop_) return;
    pa_threaded_mainloop_set_name(loop_, "pellum.sounds");
    context_ = pa_context_new(pa_threaded_mainloop_get_api(loop_), "Pellum feedback");
    if (!context_) return;
    pa_context_set_state_callback(context_, &PulseFeedbackSounds::onContextState, this);
    if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) return;
    pa_threaded_mainloop_start(loop_);
  }

  ~PulseFeedbackSounds() override { endPulseConnection(loop_, context_); }

  void play(Sound sound) override {
    if (!context_) return;
    pa_threaded_mainloop_lock(loop_);
    if (pa_context_get_state(context_) == PA_CONTEXT_READY) {
      if (pa_operation* op = pa_context_play_sample(context_, sampleName(sound).c_str(), nullptr,
                                                    PA_VOLUME_NORM, nullptr, nullptr)) {
        pa_operation_unref(op);
      }
    }
    pa_threaded_mainloop_unlock(loop_);
  }

 private:
  // On the main loop's thread.
  static void onContextState(pa_context* context, void* self) {
    if (pa_context_get_state(context) != PA_CONTEXT_READY) return;
    auto* sounds = static_cast<PulseFeedbackSounds*>(self);
    sounds->upload(Sound::morse, synthesizeMorse(kRate));
    sounds->upload(Sound::purr, synthesizePurr(kRate));
  }

  void upload(Sound sound, std::vector<std::int16_t> pcm) {
    const pa_sample_spec spec{PA_SAMPLE_S16LE, kRate, 1};
    pa_stream* stream = pa_stream_new(context_, sampleName(sound).c_str(), &spec, nullptr);
    if (!stream) return;
    const std::size_t bytes = pcm.size() * sizeof(std::int16_t);
    if (pa_stream_connect_upload(stream, bytes) < 0) {
      pa_stream_unref(stream);
      return;
    }
    // The upload stream is ready at once; write everything and finish it.
    auto* held = new std::vector<std::int16_t>(std::move(pcm));
    pa_stream_set_state_callback(
        stream,
        [](pa_stream* s, void* data) {
          auto* samples = static_cast<std::vector<std::int16_t>*>(data);
          const auto state = pa_stream_get_state(s);
          if (state == PA_STREAM_READY) {
            pa_stream_write(s, samples->data(), samples->size() * sizeof(std::int16_t), nullptr, 0,
                            PA_SEEK_RELATIVE);
            pa_stream_finish_upload(s);
          } else if (state == PA_STREAM_TERMINATED || state == PA_STREAM_FAILED) {
            pa_stream_set_state_callback(s, nullptr, nullptr);
            delete samples;
            pa_stream_unref(s);
          }
        },
        held);
  }

  pa_threaded_mainloop* loop_;
  pa_context* context_ = nullptr;
};

}  // namespace

std::unique_ptr<FeedbackSounds> FeedbackSounds::create() { return std::make_unique<PulseFeedbackSounds>(); }

}  // namespace pellum
