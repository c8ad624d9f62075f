// A build without an update framework: there is never an updater, and a
// configured feed is only mentioned once so its absence is not a mystery.

#include "app/software_updater.h"
#include "base/info_dictionary.h"
#include "base/log_line.h"

namespace pellum {

std::unique_ptr<SoftwareUpdater> SoftwareUpdater::createIfConfigured() {
  if (!infoString("SUFeedURL").empty())
    logLine("Pellum: this build has no updater; the update feed in SUFeedURL is not used");
  return nullptr;
}

}  // namespace pellum
