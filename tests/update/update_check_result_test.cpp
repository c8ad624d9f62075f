#include "update/update_check_result.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

UpdateCheckResult found(UpdateCheckResult::Kind kind) {
  UpdateCheckResult result;
  result.kind = kind;
  result.currentVersion = "0.1.0";
  result.latest = {"120", "1.2", "Pellum 1.2", "https://pellum.example/releases/1.2"};
  return result;
}

TEST(UpdateMessage, NewerVersionOffersItsPage) {
  const auto message = updateMessageFor(found(UpdateCheckResult::Kind::newerAvailable));
  EXPECT_EQ(message.title, "A new version of Pellum is available!");
  EXPECT_EQ(message.text,
            "Pellum 1.2 is now available\u2014you have 0.1.0. Would you like to download it now?");
  EXPECT_TRUE(message.offersDownload);
}

TEST(UpdateMessage, UpToDateOffersNothing) {
  const auto message = updateMessageFor(found(UpdateCheckResult::Kind::upToDate));
  EXPECT_EQ(message.title, "You\u2019re up to date!");
  EXPECT_EQ(message.text, "Pellum 0.1.0 is currently the newest version available.");
  EXPECT_FALSE(message.offersDownload);
}

TEST(UpdateMessage, FailureSaysWhy) {
  auto result = UpdateCheckResult::failure("the update server answered HTTP 404");
  result.currentVersion = "0.1.0";
  const auto message = updateMessageFor(result);
  EXPECT_EQ(message.title, "Update Error!");
  EXPECT_EQ(message.text, "Pellum could not check for updates: the update server answered HTTP 404.");
  EXPECT_FALSE(message.offersDownload);
  EXPECT_EQ(updateLogLine(result), "Pellum: the update check failed: the update server answered HTTP 404");
}

TEST(UpdateMessage, ShortVersionIsShownWhenTheFeedHasOne) {
  auto result = found(UpdateCheckResult::Kind::newerAvailable);
  EXPECT_EQ(updateLogLine(result), "Pellum: version 1.2 is available at https://pellum.example/releases/1.2");
  result.latest.shortVersion.clear();
  EXPECT_EQ(updateLogLine(result), "Pellum: version 120 is available at https://pellum.example/releases/1.2");
}

}  // namespace
}  // namespace pellum
