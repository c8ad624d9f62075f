// The updater on macOS: Sparkle 2's standard controller, present only when
// the bundle names a feed.
//
// What the calls rely on, as Sparkle documents them:
// - SPUStandardUpdaterController targets the main bundle and uses Sparkle's
//   own windows; it reads "SUFeedURL" (and the signing key) from Info.plist
//   itself, so the feed is never handed over here. It must be used on the
//   main thread.
// - -initWithStartingUpdater:YES starts the updater at once (scheduled
//   checks begin as Info.plist allows); both delegates may be nil.
// - -checkForUpdates: is the user-initiated check behind a "Check for
//   Updates…" item: Sparkle shows its progress and tells the user what it
//   found, including that the program is up to date.

#import <Foundation/Foundation.h>
#import <Sparkle/Sparkle.h>

#include <memory>

#include "app/software_updater.h"
#include "base/info_dictionary.h"

namespace pellum {
namespace {

class SparkleUpdater final : public SoftwareUpdater {
 public:
  SparkleUpdater()
      : controller_([[SPUStandardUpdaterController alloc] initWithStartingUpdater:YES
                                                                  updaterDelegate:nil
                                                               userDriverDelegate:nil]) {}

  void checkForUpdates() override { [controller_ checkForUpdates:nil]; }

 private:
  SPUStandardUpdaterController* controller_;  // strong: ARC keeps it for the updater's life
};

}  // namespace

std::unique_ptr<SoftwareUpdater> SoftwareUpdater::createIfConfigured() {
  if (infoString("SUFeedURL").empty()) return nullptr;
  return std::make_unique<SparkleUpdater>();
}

}  // namespace pellum
