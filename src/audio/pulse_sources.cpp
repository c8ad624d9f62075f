#include "audio/pulse_sources.h"

#include <pulse/pulseaudio.h>

#include <chrono>

namespace pellum {
namespace {

// A blocking conversation with the server over a private main loop. Gives up
// after a few seconds so a wedged server cannot hang the caller.
class PulseQuery {
 public:
  PulseQuery() : loop_(pa_mainloop_new()) {
    if (!loop_) return;
    context_ = pa_context_new(pa_mainloop_get_api(loop_), "pellum");
    if (!context_ || pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) return;
    ready_ = iterateUntil([this] {
               const auto state = pa_context_get_state(context_);
               return state == PA_CONTEXT_READY || !PA_CONTEXT_IS_GOOD(state);
             }) &&
             pa_context_get_state(context_) == PA_CONTEXT_READY;
  }
  ~PulseQuery() {
    if (context_) {
      pa_context_disconnect(context_);
      pa_context_unref(context_);
    }
    if (loop_) pa_mainloop_free(loop_);
  }
  PulseQuery(const PulseQuery&) = delete;
  PulseQuery& operator=(const PulseQuery&) = delete;

  bool ready() const { return ready_; }
  pa_context* context() { return context_; }

  template <class Done>
  bool iterateUntil(Done done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (!done()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      if (pa_mainloop_iterate(loop_, 1, nullptr) < 0) return false;
    }
    return true;
  }

 private:
  pa_mainloop* loop_;
  pa_context* context_ = nullptr;
  bool ready_ = false;
};

std::string property(pa_proplist* properties, const char* key) {
  const char* value = properties ? pa_proplist_gets(properties, key) : nullptr;
  return value ? value : "";
}

struct SourceListing {
  std::vector<CaptureSourceFacts> sources;
  bool done = false;
};

void onSource(pa_context*, const pa_source_info* info, int eol, void* userdata) {
  auto* listing = static_cast<SourceListing*>(userdata);
  if (eol != 0 || !info) {
    listing->done = true;
    return;
  }
  CaptureSourceFacts facts;
  facts.index = info->index;
  facts.name = info->name ? info->name : "";
  if (info->description) facts.description = info->description;
  facts.channels = info->channel_map.channels;
  facts.isMonitor = info->monitor_of_sink != PA_INVALID_INDEX;
  facts.isHardware = (info->flags & PA_SOURCE_HARDWARE) != 0;
  facts.bus = property(info->proplist, PA_PROP_DEVICE_BUS);
  facts.formFactor = property(info->proplist, PA_PROP_DEVICE_FORM_FACTOR);
  listing->sources.push_back(std::move(facts));
}

}  // namespace

std::optional<std::vector<CaptureSourceFacts>> PulseSources::list() {
  SourceListing listing;  // outlives the connection, which may still call back as it closes
  PulseQuery query;
  if (!query.ready()) return std::nullopt;
  pa_operation* operation = pa_context_get_source_info_list(query.context(), onSource, &listing);
  if (!operation) return std::nullopt;
  const bool finished = query.iterateUntil([&listing] { return listing.done; });
  pa_operation_unref(operation);
  if (!finished) return std::nullopt;
  return std::move(listing.sources);
}

bool PulseSources::serverReachable() { return PulseQuery().ready(); }

}  // namespace pellum
