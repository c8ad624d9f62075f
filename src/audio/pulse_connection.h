#pragma once

#include <pulse/pulseaudio.h>

namespace pellum {

// The end of every PulseAudio connection kept on a threaded main loop: the
// loop's thread stops first, so no callback runs while the context goes.
// Either may be null (a connection that never got that far).
inline void endPulseConnection(pa_threaded_mainloop* loop, pa_context* context) {
  if (!loop) return;
  pa_threaded_mainloop_stop(loop);
  if (context) {
    pa_context_disconnect(context);
    pa_context_unref(context);
  }
  pa_threaded_mainloop_free(loop);
}

}  // namespace pellum
