#pragma once

#include <memory>

namespace pellum {

// The program's updater: present only when an update feed is configured
// (the "SUFeedURL" Info key on macOS, the build's feed address or
// PELLUM_FEED_URL on Linux), and then made at start, before anything else.
// On macOS Sparkle does the work and reads the feed itself
// (software_updater_mac.mm); on Linux the appcast is read and an update
// offered by UpdatePrompt (software_updater_linux.cpp).
//
// Main thread.
class SoftwareUpdater {
 public:
  virtual ~SoftwareUpdater() = default;

  // The menu's "Check for Updates…": looks now and tells the user.
  virtual void checkForUpdates() = 0;

  // Nothing when no feed is configured.
  static std::unique_ptr<SoftwareUpdater> createIfConfigured();
};

}  // namespace pellum
