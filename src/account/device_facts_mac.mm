// What the account service tells the web service about this Mac: its
// computer name, and its hardware UUID.
//
// - SCDynamicStoreCopyComputerName(NULL, NULL): the computer name set in
//   System Settings > Sharing, the same name NSHost's localizedName gives,
//   but read from the configuration store without the network look-ups that
//   +[NSHost currentHost] may block on for seconds. NULL when unset; the
//   caller releases the result.
// - IOServiceGetMatchingService(kIOMainPortDefault, IOServiceMatching(...)):
//   the service consumes the matching dictionary, so it is not released
//   here; the returned service must be released with IOObjectRelease.
//   kIOMainPortDefault is the macOS 12 name of the default main port.
// - IORegistryEntryCreateCFProperty(...kIOPlatformUUIDKey...): a snapshot
//   the caller releases; a CFString of the form
//   "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX" on the platform expert device.
// Neither call needs the main thread.

#import <Foundation/Foundation.h>
#include <IOKit/IOKitKeys.h>
#include <IOKit/IOKitLib.h>
#include <SystemConfiguration/SystemConfiguration.h>

#include <optional>
#include <string>

#include "account/device_facts.h"
#include "account/device_identity.h"

namespace pellum {
namespace {

std::optional<std::string> utf8(NSString* text) {
  if (!text) return std::nullopt;
  const char* bytes = text.UTF8String;
  if (!bytes) return std::nullopt;
  return std::string(bytes);
}

std::optional<std::string> platformUuid() {
  const io_service_t expert =
      IOServiceGetMatchingService(kIOMainPortDefault, IOServiceMatching("IOPlatformExpertDevice"));
  if (expert == IO_OBJECT_NULL) return std::nullopt;
  id value = CFBridgingRelease(
      IORegistryEntryCreateCFProperty(expert, CFSTR(kIOPlatformUUIDKey), kCFAllocatorDefault, 0));
  IOObjectRelease(expert);
  if (![value isKindOfClass:[NSString class]]) return std::nullopt;
  return utf8(value);
}

}  // namespace

std::string localDeviceName() {
  NSString* computerName = CFBridgingRelease(SCDynamicStoreCopyComputerName(nullptr, nullptr));
  return deviceName(utf8(computerName), std::nullopt, "Mac");
}

std::string localPlatformName() { return "macos"; }

// The exchange takes a Mac's hardware UUID itself; `appId` only keys the
// Linux machine id's hash.
std::optional<std::string> localDeviceFingerprint(std::string_view) { return platformUuid(); }

}  // namespace pellum
