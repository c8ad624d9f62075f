// Linux has no system updater to hand the feed to: Pellum reads the
// appcast itself and offers the download (UpdatePrompt).

#include "app/software_updater.h"
#include "app/update_prompt.h"
#include "pellum/build_config.h"

namespace pellum {

std::unique_ptr<SoftwareUpdater> SoftwareUpdater::createIfConfigured() {
  const std::string feed = configuredFeedURL();
  if (feed.empty()) return nullptr;
  return std::make_unique<UpdatePrompt>(feed, std::string(build_config::version));
}

}  // namespace pellum
