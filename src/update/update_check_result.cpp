#include "update/update_check_result.h"

namespace pellum {

UpdateMessage updateMessageFor(const UpdateCheckResult& result) {
  switch (result.kind) {
    case UpdateCheckResult::Kind::upToDate:
      return {"You\u2019re up to date!",
              "Pellum " + result.currentVersion + " is currently the newest version available.", false};
    case UpdateCheckResult::Kind::newerAvailable:
      return {"A new version of Pellum is available!",
              "Pellum " + result.latest.displayVersion() + " is now available\u2014you have " +
                  result.currentVersion + ". Would you like to download it now?",
              true};
    case UpdateCheckResult::Kind::failed:
      break;
  }
  return {"Update Error!", "Pellum could not check for updates: " + result.error + ".", false};
}

std::string updateLogLine(const UpdateCheckResult& result) {
  switch (result.kind) {
    case UpdateCheckResult::Kind::upToDate:
      return "Pellum: up to date (" + result.currentVersion + ", the feed's newest is " +
             result.latest.version + ")";
    case UpdateCheckResult::Kind::newerAvailable:
      return "Pellum: version " + result.latest.displayVersion() + " is available at " +
             result.latest.downloadPage;
    case UpdateCheckResult::Kind::failed:
      break;
  }
  return "Pellum: the update check failed: " + result.error;
}

}  // namespace pellum
