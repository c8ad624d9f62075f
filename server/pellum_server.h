#pragma once

#include <memory>
#include <string>
#include <variant>

#include "device_store.h"
#include "engine_config.h"
#include "server_options.h"

namespace pellum::server {

// The device store the options name: --store wins over the config file's
// [store] url; with neither, the SQLite file in the data directory.
StoreLocation storeLocation(const ServerOptions& options, const EngineConfig& config);

// The running server: device store, speech engines, translator, decode
// workers, I/O threads and both listeners.
class PellumServer {
 public:
  // Opens the store, builds the engines and binds both listeners; an error
  // text on failure.
  static std::variant<std::unique_ptr<PellumServer>, std::string> start(const ServerOptions& options,
                                                                        const EngineConfig& engines);
  ~PellumServer();

  // "listening web=http://HOST:PORT transcribe=http://HOST:PORT".
  std::string listeningLine() const;

  enum class Stopped { cleanly, abandoningDecodes };
  // Serves until SIGINT or SIGTERM, then ends the live sessions with an
  // error message and returns once they closed (or after a short grace).
  // abandoningDecodes: upload decodes are still running on worker threads,
  // which cannot be joined soon; the caller must end the process without
  // destroying the server (std::_Exit).
  Stopped run();

  struct Impl;

 private:
  explicit PellumServer(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace pellum::server
