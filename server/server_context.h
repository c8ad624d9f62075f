#pragma once

#include <string>

#include "decode_workers.h"
#include "device_store.h"
#include "session_limits.h"
#include "live_registry.h"
#include "speech_engine.h"
#include "translator.h"

namespace pellum::server {

// What every connection needs, owned by the server and outliving all of them.
struct ServerContext {
  DeviceStore& store;
  SpeechEngine& engine;
  Translator& translator;
  DecodeWorkers& workers;
  LiveRegistry& live;
  Limits limits;
  std::string formToken;  // the secret every browser form must carry back
};

}  // namespace pellum::server
