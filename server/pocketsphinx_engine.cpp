#include "pocketsphinx_engine.h"

#include <pocketsphinx.h>
#include <sphinxbase/cmn.h>
#include <sphinxbase/err.h>
#include <sphinxbase/feat.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace pellum::server {

struct PocketSphinxEngine::Pool {
  PocketSphinxOptions options;
  std::mutex mutex;
  std::condition_variable changed;  // a decoder became idle or a build ended
  std::vector<ps_decoder_t*> idle;
  int total = 0;     // built or being built
  int building = 0;  // builds in progress
  // Idle decoders the builders keep ready ahead of demand (0 until warmUp).
  int spare = 0;
  // Sessions turned away for want of an idle decoder since the last build
  // started, while the cap allowed more: each is asking again.
  int misses = 0;
  bool stopping = false;
  bool broken = false;
  std::condition_variable wanted;  // a build is wanted, or the builders must stop
  std::vector<std::thread> builders;
  // The cepstral mean of the last decoder released: a new decoder starts
  // from it, as a reused one starts from its own, instead of from the
  // model's initial mean, which on the recorded test speech costs words in
  // the first utterance (four of five decode better seeded).
  std::vector<mfcc_t> lastMean;

  ~Pool() {
    for (auto* decoder : idle) ps_free(decoder);
  }

  bool buildWanted() const {
    if (broken || total >= options.maxDecoders) return false;
    return static_cast<int>(idle.size()) + building < spare || misses > 0;
  }

  // On threads of their own, so a build (~0.4 s of a core) never holds up a
  // decode worker, and ahead of demand no session either.
  void buildSpares() {
    std::unique_lock lock(mutex);
    while (true) {
      wanted.wait(lock, [this] { return stopping || buildWanted(); });
      if (stopping) return;
      misses = 0;
      if (auto* decoder = buildCounted(lock)) {
        idle.push_back(decoder);
        changed.notify_all();
      } else {
        broken = true;  // the model does not load: building again would fail again
      }
    }
  }

  ps_decoder_t* build() const {
    const std::string& dir = options.modelDir;
    const char* fast = options.fastFinish ? "no" : "yes";
    const std::string maxHmms = std::to_string(options.maxActiveHmms);
    cmd_ln_t* config =
        cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", (dir + "/en-us").c_str(), "-lm",
                    (dir + "/en-us.lm.bin").c_str(), "-dict", (dir + "/cmudict-en-us.dict").c_str(),
                    "-fwdflat", fast, "-bestpath", fast, "-maxhmmpf", maxHmms.c_str(), nullptr);
    if (!config) return nullptr;
    ps_decoder_t* decoder = ps_init(config);
    cmd_ln_free_r(config);  // the decoder holds its own reference
    return decoder;
  }

  // Builds one decoder with the lock released; counts it while it is built.
  ps_decoder_t* buildCounted(std::unique_lock<std::mutex>& lock) {
    ++total;
    ++building;
    const std::vector<mfcc_t> mean = lastMean;
    lock.unlock();
    ps_decoder_t* decoder = build();
    if (decoder && !mean.empty()) cmn_live_set(ps_get_feat(decoder)->cmn_struct, mean.data());
    lock.lock();
    --building;
    if (!decoder) --total;
    changed.notify_all();
    return decoder;
  }

  // An idle decoder, or a new one when the cap allows. Once the builders run
  // and a first decoder exists, a caller never waits: with none idle it is
  // "server busy" and, below the cap, a builder starts on one for the
  // session that asks again. Before that (at start-up, or without builders)
  // a caller builds its own or waits for one being built, never for one in
  // use. Taking an idle one asks the builders for the next spare.
  std::variant<ps_decoder_t*, EngineError> acquire() {
    std::unique_lock lock(mutex);
    if (idle.empty() && !builders.empty() && total > building) {
      if (total < options.maxDecoders) {
        ++misses;
        wanted.notify_one();
      }
      return EngineError{EngineError::Kind::busy, "server busy"};
    }
    while (idle.empty() && total >= options.maxDecoders) {
      if (building == 0) return EngineError{EngineError::Kind::busy, "server busy"};
      changed.wait(lock);
    }
    if (!idle.empty()) {
      auto* decoder = idle.back();
      idle.pop_back();
      if (buildWanted()) wanted.notify_one();
      return decoder;
    }
    if (auto* decoder = buildCounted(lock)) return decoder;
    return EngineError{EngineError::Kind::failed, "speech engine failed to start"};
  }

  void release(ps_decoder_t* decoder) {
    feat_t* features = ps_get_feat(decoder);
    std::vector<mfcc_t> mean(static_cast<std::size_t>(feat_cepsize(features)));
    cmn_live_get(features->cmn_struct, mean.data());
    std::lock_guard lock(mutex);
    lastMean = std::move(mean);
    idle.push_back(decoder);
    changed.notify_all();
  }
};

namespace {

class PocketSphinxStream : public SpeechStream {
 public:
  PocketSphinxStream(std::shared_ptr<PocketSphinxEngine::Pool> pool, ps_decoder_t* decoder)
      : pool_(std::move(pool)), decoder_(decoder) {
    started_ = ps_start_utt(decoder_) == 0;
  }
  ~PocketSphinxStream() override {
    if (started_) ps_end_utt(decoder_);  // leaves the decoder ready for its next stream
    pool_->release(decoder_);
  }

  void feed(std::span<const std::int16_t> samples) override {
    if (started_ && !samples.empty()) ps_process_raw(decoder_, samples.data(), samples.size(), FALSE, FALSE);
  }

  std::string partial() override {
    if (!started_) return {};
    std::int32_t score = 0;
    const char* hypothesis = ps_get_hyp(decoder_, &score);
    return hypothesis ? hypothesis : "";
  }

  EngineResult transcribeWhole(std::span<const std::int16_t> samples) override {
    if (!started_) return EngineTranscript{};
    // full_utt: features for the whole recording first, then batch cepstral
    // mean normalisation as the model's feat.params asks ("-cmn batch").
    if (!samples.empty()) ps_process_raw(decoder_, samples.data(), samples.size(), FALSE, TRUE);
    return finish();
  }

  EngineResult finish() override {
    if (!started_) return EngineTranscript{};
    ps_end_utt(decoder_);
    started_ = false;
    std::int32_t score = 0;
    const char* hypothesis = ps_get_hyp(decoder_, &score);
    return EngineTranscript{hypothesis ? hypothesis : "", std::nullopt};
  }

 private:
  std::shared_ptr<PocketSphinxEngine::Pool> pool_;
  ps_decoder_t* decoder_;
  bool started_ = false;
};

}  // namespace

PocketSphinxEngine::PocketSphinxEngine(PocketSphinxOptions options) : pool_(std::make_shared<Pool>()) {
  err_set_logfp(nullptr);
  pool_->options = std::move(options);
}

PocketSphinxEngine::~PocketSphinxEngine() {
  {
    std::lock_guard lock(pool_->mutex);
    pool_->stopping = true;
    pool_->wanted.notify_all();
  }
  for (auto& builder : pool_->builders) builder.join();
}

bool PocketSphinxEngine::supports(std::string_view language) const { return language == "en"; }

void PocketSphinxEngine::warmUp() {
  std::lock_guard lock(pool_->mutex);
  if (!pool_->builders.empty()) return;
  pool_->spare = std::min(pool_->options.initialDecoders, pool_->options.maxDecoders);
  for (int i = 0; i < std::max(pool_->spare, 1); ++i)
    pool_->builders.emplace_back([pool = pool_.get()] { pool->buildSpares(); });
}

std::variant<std::unique_ptr<SpeechStream>, EngineError> PocketSphinxEngine::open(
    const SpeechRequest& request) {
  if (!supports(request.language)) {
    return EngineError{EngineError::Kind::unsupportedLanguage,
                       "no speech model for language " + request.language};
  }
  auto decoder = pool_->acquire();
  if (auto* error = std::get_if<EngineError>(&decoder)) return *error;
  return std::make_unique<PocketSphinxStream>(pool_, std::get<ps_decoder_t*>(decoder));
}

}  // namespace pellum::server
