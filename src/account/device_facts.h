#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pellum {

// What the account service tells the web service about this machine
// (device_facts_linux.cpp: /etc/machine-info, the host name, and
// /etc/machine-id).
//
// Thread contract: any thread; each call reads the system afresh.

// The pretty host name, else the host name, else "Linux".
std::string localDeviceName();

// What the pairing page is told this device runs: "linux" or "macos".
std::string localPlatformName();

// The application-specific hash of the machine id, or nothing when the
// machine has no readable id.
std::optional<std::string> localDeviceFingerprint(std::string_view appId);

}  // namespace pellum
