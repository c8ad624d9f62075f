#pragma once

#include <string>

namespace pellum {

// One release as an update feed lists it.
struct AppcastRelease {
  std::string version;       // what is compared
  std::string shortVersion;  // what the user is shown; may be empty
  std::string title;
  // The release's page, else its download's address: only ever http or
  // https.
  std::string downloadPage;

  // The version as the user should read it.
  const std::string& displayVersion() const { return shortVersion.empty() ? version : shortVersion; }
};

// What a look at the update feed found.
struct UpdateCheckResult {
  enum class Kind { upToDate, newerAvailable, failed };
  Kind kind = Kind::failed;
  std::string currentVersion;
  AppcastRelease latest;  // upToDate, newerAvailable: the newest the feed lists
  // failed: why, in words ("the update server could not be reached: …").
  std::string error;

  static UpdateCheckResult failure(std::string why) { return {Kind::failed, {}, {}, std::move(why)}; }
};

// What the user is told about a check, and whether a "Download…" button
// takes them to the release's page.
struct UpdateMessage {
  std::string title;
  std::string text;
  bool offersDownload = false;
};
UpdateMessage updateMessageFor(const UpdateCheckResult& result);

// The log line for a finished check.
std::string updateLogLine(const UpdateCheckResult& result);

}  // namespace pellum
