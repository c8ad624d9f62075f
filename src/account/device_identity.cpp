#include "account/device_identity.h"

#include "base/crypto.h"
#include "base/text.h"

namespace pellum {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Undoes the quoting that systemd's environment-file parser accepts: double
// quotes with backslash escapes, single quotes taken literally, or a bare
// word.
std::string unquote(std::string_view value) {
  value = trimmed(value, kBlanks);
  std::string out;
  if (value.starts_with('\'')) {
    value.remove_prefix(1);
    return std::string(value.substr(0, value.find('\'')));
  }
  if (value.starts_with('"')) {
    for (std::size_t i = 1; i < value.size() && value[i] != '"'; ++i) {
      if (value[i] == '\\' && i + 1 < value.size()) ++i;
      out += value[i];
    }
    return out;
  }
  return std::string(value);
}

}  // namespace

std::optional<std::string> prettyHostnameFromMachineInfo(std::string_view machineInfo) {
  constexpr std::string_view kKey = "PRETTY_HOSTNAME=";
  while (!machineInfo.empty()) {
    const std::size_t end = machineInfo.find('\n');
    const std::string_view line = trimmed(machineInfo.substr(0, end), kBlanks);
    machineInfo = end == std::string_view::npos ? std::string_view{} : machineInfo.substr(end + 1);
    if (line.starts_with(kKey)) return unquote(line.substr(kKey.size()));
  }
  return std::nullopt;
}

std::string deviceName(const std::optional<std::string>& prettyHostname,
                       const std::optional<std::string>& hostname, std::string_view unnamed) {
  for (const auto& candidate : {prettyHostname, hostname}) {
    if (candidate && !trimmed(*candidate, kBlanks).empty()) return std::string(trimmed(*candidate, kBlanks));
  }
  return std::string(unnamed);
}

std::optional<std::string> deviceFingerprint(std::string_view machineIdText, std::string_view appId) {
  const std::string_view id = trimmed(machineIdText, kBlanks);
  if (id.size() != 32) return std::nullopt;
  std::string key;
  for (std::size_t i = 0; i < id.size(); i += 2) {
    const int high = hexValue(id[i]), low = hexValue(id[i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    key += static_cast<char>(high * 16 + low);
  }
  static constexpr char kHex[] = "0123456789abcdef";
  std::string out;
  for (const char byte : hmacSha256(key, appId)) {
    out += kHex[static_cast<unsigned char>(byte) >> 4];
    out += kHex[static_cast<unsigned char>(byte) & 15];
  }
  return out;
}

}  // namespace pellum
