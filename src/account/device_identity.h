#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pellum {

// The PRETTY_HOSTNAME of an /etc/machine-info text (shell-style quoting
// undone), or nothing when it has none.
std::optional<std::string> prettyHostnameFromMachineInfo(std::string_view machineInfo);

// The name the pairing page shows for this device: the pretty host name,
// else the host name, else `unnamed` (the platform's name: "Linux", or
// "Mac" for a Mac with no computer name); blank names count as none.
std::string deviceName(const std::optional<std::string>& prettyHostname,
                       const std::optional<std::string>& hostname, std::string_view unnamed = "Linux");

// The device's fingerprint for the exchange: HMAC-SHA-256 keyed with the
// machine id's 16 bytes over `appId`, as 64 lower-case hex digits. The raw
// machine id must never leave the machine (it is a secret other software
// keys on), so only this application-specific hash is sent. Nothing when
// `machineIdText` (the contents of /etc/machine-id) is not 32 hex digits.
std::optional<std::string> deviceFingerprint(std::string_view machineIdText, std::string_view appId);

}  // namespace pellum
