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

// The application-specific hash of the machine id (a Mac's hardware UUID),
// or nothing when the machine has no readable id.
std::optional<std::string> localDeviceFingerprint(std::string_view appId);

}  // namespace pellum
