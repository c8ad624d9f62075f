#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "guess_limiter.h"
#include "session_limits.h"
#include "trusted_proxy.h"

namespace pellum::server {

struct ListenAddress {
  std::string host;  // an IP literal; "localhost" is read as 127.0.0.1
  unsigned short port = 0;
};

enum class Command { serve, devicesList, devicesAdd, devicesRevoke, engines, help };

struct ServerOptions {
  Command command = Command::serve;
  std::string commandArgument;  // the NAME of devices add, the ID of devices revoke
  ListenAddress web{"127.0.0.1", 3000};
  ListenAddress transcribe{"127.0.0.1", 3001};
  std::string dataDir;
  // The shared device store (a PostgreSQL URL); "" leaves it to the
  // config file, and then to the SQLite file in the data directory.
  std::string storeUrl;
  // The engines file; "" reads the default path when it exists (and uses
  // the local engines when it does not).
  std::string configPath;
  // Speech decoders at once; 0 sizes the pool at start by the machine's
  // cores and available memory (decoder_budget.h).
  int maxDecoders = 0;
  // Uploads served at once (each holds its body, up to Limits::maxUploadBytes,
  // and decodes on a worker of its own); more get "server busy".
  int maxUploads = 2;
  Limits limits;
  GuessLimits guesses;
  TrustedProxies proxies;
};

struct OptionsError {
  std::string description;
};

// Reads the command line (without the program name). `environment` answers
// XDG_DATA_HOME and HOME, for the default data directory.
std::variant<ServerOptions, OptionsError> parseOptions(
    const std::vector<std::string>& args,
    const std::function<std::optional<std::string>(std::string_view)>& environment);

// "HOST:PORT" or "[V6]:PORT".
std::optional<ListenAddress> parseListenAddress(std::string_view text);

// The usage text printed by --help and after an options error.
std::string usageText();

}  // namespace pellum::server
