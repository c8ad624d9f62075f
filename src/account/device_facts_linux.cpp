#include <unistd.h>

#include <climits>
#include <fstream>
#include <sstream>

#include "account/device_facts.h"
#include "account/device_identity.h"

namespace pellum {
namespace {

std::optional<std::string> readFile(const char* path) {
  std::ifstream file(path);
  if (!file) return std::nullopt;
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

}  // namespace

std::string localDeviceName() {
  std::optional<std::string> pretty;
  if (const auto info = readFile("/etc/machine-info")) pretty = prettyHostnameFromMachineInfo(*info);
  std::optional<std::string> host;
  char name[HOST_NAME_MAX + 1] = {};
  if (::gethostname(name, sizeof name - 1) == 0) host = name;
  return deviceName(pretty, host);
}

std::string localPlatformName() { return "linux"; }

std::optional<std::string> localDeviceFingerprint(std::string_view appId) {
  const auto id = readFile("/etc/machine-id");
  if (!id) return std::nullopt;
  return deviceFingerprint(*id, appId);
}

}  // namespace pellum
