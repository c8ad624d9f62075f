#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pellum {

// What the account service tells the web service about this machine
// (device_facts_linux.cpp: /etc/machine-info, the host name, and
// /etc/machine-id; device_facts_mac.mm: the computer name and the hardware
// UUID).
//
// Thread contract: any thread; each call reads the system afresh.

// The pretty host name, else the host name, else "Linux"; on a Mac the
// computer name, else "Mac".
std::string localDeviceName();

// What the pairing page is told this device runs: "linux" or "macos".
std::string localPlatformName();

// What identifies this machine to the exchange, or nothing when it has no
// readable id: on Linux the application-specific hash of the machine id
// (which must not be handed out as it is); on a Mac the hardware UUID from
// the I/O registry, as the account service expects it.
std::optional<std::string> localDeviceFingerprint(std::string_view appId);

}  // namespace pellum
