#pragma once

#include <memory>
#include <string>

#include "speech_engine.h"

namespace pellum::server {

struct PocketSphinxOptions {
  std::string modelDir = "/usr/share/pocketsphinx/model/en-us";
  // Skipping the flat-lexicon pass and the lattice best path cuts the end of
  // an utterance from ~200 ms to ~16 ms here, and on the recorded test speech
  // it does not cost accuracy (26.8% WER against 31.0%; bench/server_wer_bench.cpp).
  bool fastFinish = true;
  // Most HMMs a frame may keep active (PocketSphinx's -maxhmmpf, 30000 by
  // default). At 3000 a stream costs 0.13 s of a core per second of audio
  // instead of 0.24 s, with the same words on the recorded test speech
  // (26.8% WER streamed and whole; bench/server_wer_bench.cpp): that is what
  // lets two cores keep up with sixteen speakers. At 2000 it loses words.
  int maxActiveHmms = 3000;
  int initialDecoders = 2;
  int maxDecoders = 8;
};

// US English with Debian's pocketsphinx-en-us model. Decoders cost ~0.4 s and
// ~90 MB to build, so they are pooled: after warmUp, builder threads build
// `initialDecoders` and keep as many idle ahead of demand, up to
// `maxDecoders`. Once a decoder exists `open` never waits: finding none idle
// it answers "server busy" at once and, below the cap, has a builder start
// one for the caller to find when it asks again (a live session does, for a
// while). Nothing is shared between decoders: the language model's trie
// keeps a scoring cache in the model itself, so one model cannot serve
// decoders on several threads.
//
// A reused decoder keeps the cepstral mean it adapted to in earlier streams
// (PocketSphinx's live normalisation): resetting it to the model's initial
// mean measurably hurts short utterances, so every stream starts from the
// last one's acoustics instead; results therefore depend slightly on what
// the decoder heard before.
class PocketSphinxEngine : public SpeechEngine {
 public:
  explicit PocketSphinxEngine(PocketSphinxOptions options);
  ~PocketSphinxEngine() override;

  bool supports(std::string_view language) const override;
  std::variant<std::unique_ptr<SpeechStream>, EngineError> open(const SpeechRequest& request) override;

  // Starts `initialDecoders` builder threads, which build as many decoders
  // while the listeners already answer and from then on keep that many idle
  // ahead of demand, and build for callers turned away, up to `maxDecoders`.
  // Called once at start; later calls do nothing.
  void warmUp();

  struct Pool;

 private:
  std::shared_ptr<Pool> pool_;
};

}  // namespace pellum::server
