// pellum-server: serves, or runs one device admin command.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <string>
#include <vector>

#include "device_store.h"
#include "engine_set.h"
#include "log_text.h"
#include "pellum_server.h"
#include "server_options.h"

namespace {

using namespace pellum::server;

std::string dateText(std::int64_t seconds) {
  if (seconds == 0) return "never";
  const std::time_t time = seconds;
  std::tm parts{};
  gmtime_r(&time, &parts);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}

int runDeviceCommand(const ServerOptions& options, const EngineConfig& config) {
  auto opened = openDeviceStore(storeLocation(options, config));
  if (auto* error = std::get_if<StoreError>(&opened)) {
    std::cerr << "pellum-server: " << error->description << "\n";
    return 1;
  }
  auto& store = *std::get<std::unique_ptr<DeviceStore>>(opened);
  switch (options.command) {
    case Command::devicesList:
      for (const auto& device : store.devices()) {
        // Names come from the devices that asked to pair: a terminal must
        // not act on what they contain.
        std::cout << device.id << "\t" << escapeForLog(device.name) << "\t" << escapeForLog(device.platform)
                  << "\tcreated=" << dateText(device.created) << "\tlast-seen=" << dateText(device.lastSeen)
                  << "\t" << (device.revoked ? "revoked" : "active") << "\n";
      }
      return 0;
    case Command::devicesAdd: {
      auto token = store.addDevice(options.commandArgument, "manual", "");
      if (auto* error = std::get_if<StoreError>(&token)) {
        std::cerr << "pellum-server: " << error->description << "\n";
        return 1;
      }
      std::cout << std::get<std::string>(token) << "\n";
      return 0;
    }
    case Command::devicesRevoke: {
      char* end = nullptr;
      const long long id = std::strtoll(options.commandArgument.c_str(), &end, 10);
      if (*end != '\0' || !store.revoke(id)) {
        std::cerr << "pellum-server: no device with id " << options.commandArgument << "\n";
        return 1;
      }
      return 0;
    }
    default:
      return 2;
  }
}

int serve(const ServerOptions& options, const EngineConfig& engines) {
  // A translator process that dies mid-write must not take the server with it.
  std::signal(SIGPIPE, SIG_IGN);
  // A full disk or a file size limit must fail the write (and so the device
  // store's transaction), not kill the server.
  std::signal(SIGXFSZ, SIG_IGN);
  auto started = PellumServer::start(options, engines);
  if (auto* error = std::get_if<std::string>(&started)) {
    std::cerr << "pellum-server: " << *error << "\n";
    return 1;
  }
  auto& server = *std::get<std::unique_ptr<PellumServer>>(started);
  std::printf("%s\n", server.listeningLine().c_str());
  std::fflush(stdout);
  if (server.run() == PellumServer::Stopped::abandoningDecodes) {
    // Destroying the server would wait for the decodes. The device store
    // needs no closing: every change was a committed transaction.
    std::fflush(stdout);
    std::_Exit(0);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);
  const Environment environment = [](std::string_view name) -> std::optional<std::string> {
    const char* value = std::getenv(std::string(name).c_str());
    return value ? std::optional<std::string>(value) : std::nullopt;
  };
  auto parsed = parseOptions(args, environment);
  if (auto* error = std::get_if<OptionsError>(&parsed)) {
    std::cerr << "pellum-server: " << error->description << "\n" << usageText();
    return 2;
  }
  const auto& options = std::get<ServerOptions>(parsed);
  if (options.command == Command::help) {
    std::cout << usageText();
    return 0;
  }
  // Device commands read the config file too: it may name the shared store.
  auto loaded = loadEngineConfig(options.configPath, environment);
  if (auto* error = std::get_if<ConfigError>(&loaded)) {
    std::cerr << "pellum-server: " << error->description << "\n";
    return 2;
  }
  const auto& engines = std::get<LoadedConfig>(loaded);
  if (options.command != Command::serve && options.command != Command::engines)
    return runDeviceCommand(options, engines.config);
  if (options.command == Command::engines) return checkEngines(engines, std::cout) ? 0 : 1;
  return serve(options, engines.config);
}
