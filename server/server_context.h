#pragma once

#include <string>

#include "decode_workers.h"
#include "device_store.h"
#include "guess_limiter.h"
#include "live_registry.h"
#include "server_metrics.h"
#include "session_limits.h"
#include "speech_engine.h"
#include "text_cleanup.h"
#include "translator.h"
#include "trusted_proxy.h"
#include "upload_gate.h"

namespace pellum::server {

// What every connection needs, owned by the server and outliving all of them.
struct ServerContext {
  DeviceStore& store;
  SpeechEngine& liveEngine;    // the live route's
  SpeechEngine& uploadEngine;  // the upload route's
  TextCleanup& cleanup;        // "clean" mode's
  Translator& translator;
  DecodeWorkers& workers;        // live sessions and translations
  DecodeWorkers& uploadWorkers;  // uploads, one thread per upload allowed
  LiveRegistry& live;
  UploadGate& uploads;
  GuessLimiter& guesses;  // wrong exchange codes and bearer tokens, per address
  ServerMetrics& metrics;
  Limits limits;
  TrustedProxies proxies;
  std::string formToken;  // the secret every browser form must carry back
};

}  // namespace pellum::server
