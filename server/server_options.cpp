#include "server_options.h"

#include <charconv>

#include "store_url.h"

namespace pellum::server {
namespace {

std::optional<int> wholeNumber(std::string_view text, int min, int max) {
  int value = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc{} || end != text.data() + text.size() || value < min || value > max)
    return std::nullopt;
  return value;
}

bool isKnownOption(std::string_view name) {
  for (std::string_view known :
       {"--web-listen", "--transcribe-listen", "--data-dir", "--config", "--decoders", "--idle-timeout",
        "--max-session-audio", "--fail-live-after-ms", "--max-queued-messages", "--max-queued-bytes",
        "--result-timeout-ms", "--decode-timeout-ms", "--max-uploads", "--live-send-buffer", "--guess-limit",
        "--drain-seconds", "--decoder-wait-ms", "--store", "--trusted-proxy"}) {
    if (name == known) return true;
  }
  return false;
}

std::string defaultDataDir(const std::function<std::optional<std::string>(std::string_view)>& environment) {
  if (auto xdg = environment("XDG_DATA_HOME"); xdg && !xdg->empty()) return *xdg + "/pellum-server";
  return environment("HOME").value_or(".") + "/.local/share/pellum-server";
}

// Applies one "--name value" option; an error text when it is not one.
std::optional<std::string> applyOption(ServerOptions& options, std::string_view name,
                                       std::string_view value) {
  if (name == "--web-listen" || name == "--transcribe-listen") {
    auto address = parseListenAddress(value);
    if (!address) return std::string(name) + " expects HOST:PORT, got \"" + std::string(value) + "\"";
    (name == "--web-listen" ? options.web : options.transcribe) = *address;
  } else if (name == "--data-dir") {
    if (value.empty()) return std::string("--data-dir expects a directory");
    options.dataDir = std::string(value);
  } else if (name == "--store") {
    if (value.empty() || !isStoreUrl(value))
      return "--store expects a postgresql:// URL, got \"" + withoutPassword(value) + "\"";
    options.storeUrl = std::string(value);
  } else if (name == "--trusted-proxy") {
    auto proxies = TrustedProxies::parse(value);
    if (!proxies)
      return "--trusted-proxy expects IP addresses separated by commas, got \"" + std::string(value) + "\"";
    options.proxies = *proxies;
  } else if (name == "--config") {
    if (value.empty()) return std::string("--config expects a file");
    options.configPath = std::string(value);
  } else if (name == "--decoders") {
    auto count = wholeNumber(value, 1, 256);
    if (!count) return std::string("--decoders expects a number from 1 to 256");
    options.maxDecoders = *count;
  } else if (name == "--max-uploads") {
    auto count = wholeNumber(value, 1, 64);
    if (!count) return std::string("--max-uploads expects a number from 1 to 64");
    options.maxUploads = *count;
  } else if (name == "--idle-timeout") {
    auto seconds = wholeNumber(value, 1, 86400);
    if (!seconds) return std::string("--idle-timeout expects seconds from 1 to 86400");
    options.limits.idleTimeout = std::chrono::seconds(*seconds);
  } else if (name == "--max-session-audio") {
    auto seconds = wholeNumber(value, 1, 86400);
    if (!seconds) return std::string("--max-session-audio expects seconds from 1 to 86400");
    options.limits.maxSessionAudio = std::chrono::seconds(*seconds);
  } else if (name == "--fail-live-after-ms") {
    auto milliseconds = wholeNumber(value, 1, 86400000);
    if (!milliseconds) return std::string("--fail-live-after-ms expects milliseconds from 1 to 86400000");
    options.limits.failLiveAfter = std::chrono::milliseconds(*milliseconds);
  } else if (name == "--result-timeout-ms" || name == "--decode-timeout-ms") {
    auto milliseconds = wholeNumber(value, 1, 86400000);
    if (!milliseconds) return std::string(name) + " expects milliseconds from 1 to 86400000";
    (name == "--result-timeout-ms" ? options.limits.resultTimeout : options.limits.decodeTimeout) =
        std::chrono::milliseconds(*milliseconds);
  } else if (name == "--decoder-wait-ms") {
    auto milliseconds = wholeNumber(value, 0, 600000);
    if (!milliseconds) return std::string("--decoder-wait-ms expects milliseconds from 0 to 600000");
    options.limits.decoderWait = std::chrono::milliseconds(*milliseconds);
  } else if (name == "--drain-seconds") {
    auto seconds = wholeNumber(value, 0, 3600);
    if (!seconds) return std::string("--drain-seconds expects seconds from 0 to 3600");
    options.limits.drain = std::chrono::seconds(*seconds);
  } else if (name == "--guess-limit") {
    auto count = wholeNumber(value, 0, 1000000);
    if (!count) return std::string("--guess-limit expects a number from 0 (no limit) to 1000000");
    options.guesses.failures = static_cast<int>(*count);
  } else if (name == "--max-queued-messages") {
    auto count = wholeNumber(value, 1, 1000000);
    if (!count) return std::string("--max-queued-messages expects a number from 1 to 1000000");
    options.limits.maxQueuedMessages = static_cast<std::size_t>(*count);
  } else if (name == "--live-send-buffer") {
    auto bytes = wholeNumber(value, 0, 64 << 20);
    if (!bytes) return std::string("--live-send-buffer expects a number from 0 to 67108864");
    options.limits.liveSendBuffer = static_cast<std::size_t>(*bytes);
  } else if (name == "--max-queued-bytes") {
    auto bytes = wholeNumber(value, 1024, 1 << 30);
    if (!bytes) return std::string("--max-queued-bytes expects a number from 1024 to 1073741824");
    options.limits.maxQueuedBytes = static_cast<std::size_t>(*bytes);
  } else {
    return "unknown option " + std::string(name);
  }
  return std::nullopt;
}

std::optional<std::string> applyCommand(ServerOptions& options, const std::vector<std::string>& words) {
  if (words.empty()) return std::nullopt;
  if (words[0] == "engines") {
    if (words.size() != 1) return std::string("usage: engines");
    options.command = Command::engines;
    return std::nullopt;
  }
  if (words[0] != "devices" || words.size() < 2) return "unknown command \"" + words[0] + "\"";
  const std::string& verb = words[1];
  if (verb == "list" && words.size() == 2) {
    options.command = Command::devicesList;
  } else if ((verb == "add" || verb == "revoke") && words.size() == 3 && !words[2].empty()) {
    options.command = verb == "add" ? Command::devicesAdd : Command::devicesRevoke;
    options.commandArgument = words[2];
  } else {
    return "usage: devices list | devices add NAME | devices revoke ID";
  }
  return std::nullopt;
}

}  // namespace

std::optional<ListenAddress> parseListenAddress(std::string_view text) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string_view::npos || colon == 0) return std::nullopt;
  std::string host(text.substr(0, colon));
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
  if (host == "localhost") host = "127.0.0.1";
  auto port = wholeNumber(text.substr(colon + 1), 0, 65535);
  if (!port || host.empty()) return std::nullopt;
  return ListenAddress{host, static_cast<unsigned short>(*port)};
}

std::variant<ServerOptions, OptionsError> parseOptions(
    const std::vector<std::string>& args,
    const std::function<std::optional<std::string>(std::string_view)>& environment) {
  ServerOptions options;
  std::vector<std::string> words;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (arg == "--help" || arg == "-h") {
      options.command = Command::help;
      return options;
    }
    if (!arg.starts_with("--")) {
      words.push_back(arg);
      continue;
    }
    std::string name = arg;
    std::string value;
    if (const std::size_t eq = arg.find('='); eq != std::string::npos) {
      name = arg.substr(0, eq);
      value = arg.substr(eq + 1);
    } else if (i + 1 < args.size()) {
      value = args[++i];
    } else {
      return OptionsError{isKnownOption(name) ? name + " needs a value" : "unknown option " + name};
    }
    if (auto error = applyOption(options, name, value)) return OptionsError{*error};
  }
  if (auto error = applyCommand(options, words)) return OptionsError{*error};
  if (options.dataDir.empty()) options.dataDir = defaultDataDir(environment);
  return options;
}

std::string usageText() {
  return "usage: pellum-server [OPTIONS]\n"
         "       pellum-server devices list|add NAME|revoke ID [--data-dir DIR | --store URL]\n"
         "       pellum-server engines [--config FILE]   show the speech engines and check each\n"
         "options:\n"
         "  --web-listen HOST:PORT         sign-in pages (default 127.0.0.1:3000; port 0 picks one)\n"
         "  --transcribe-listen HOST:PORT  transcription routes (default 127.0.0.1:3001)\n"
         "  --data-dir DIR                 device store (default $XDG_DATA_HOME/pellum-server)\n"
         "  --store URL                    shared device store: postgresql://USER@HOST/DB (default: the\n"
         "                                 SQLite file in the data directory)\n"
         "  --config FILE                  speech engines file (default "
         "$XDG_CONFIG_HOME/pellum-server/engines.conf)\n"
         "  --trusted-proxy ADDR[,ADDR]    reverse proxies in front of this server: their\n"
         "                                 X-Forwarded-For names the client, their sign-in guards\n"
         "                                 the pairing pages\n"
         "  --decoders N                   most speech decoders at once (default: 8 per core, at most\n"
         "                                 half the available memory at ~100 MB each)\n"
         "  --decoder-wait-ms MS           a live session that finds every decoder in use waits this\n"
         "                                 long for one before \"server busy\" (default 5000)\n"
         "  --max-uploads N                uploads served at once (default 2)\n"
         "  --idle-timeout SECONDS         end a silent live session (default 30)\n"
         "  --max-session-audio SECONDS    longest live session (default 600)\n"
         "  --result-timeout-ms MS         a live result is due this soon after stop (default 30000)\n"
         "  --decode-timeout-ms MS         an upload's answer is due this soon (default 300000)\n"
         "  --drain-seconds N              on SIGTERM, let open sessions and uploads finish for up to\n"
         "                                 N seconds before they are cut (default 0: at once)\n"
         "  --guess-limit N                wrong codes or tokens per address in a minute before it\n"
         "                                 must wait (429; default 10, 0: no limit)\n"
         "  --max-queued-messages N        live messages waiting for a slow client (default 256)\n"
         "  --max-queued-bytes N           their bytes (default 1048576)\n"
         "  --live-send-buffer BYTES       kernel send buffer of a live connection (default: the system's)\n"
         "  --fail-live-after-ms MS        testing: fail every live session MS after it starts\n";
}

}  // namespace pellum::server
