// The recent dictations' store on real files in a temporary folder.
#include "history/dictation_history.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <variant>

#include "server/temp_dir.h"

namespace pellum {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr std::int64_t kNow = 1'800'000'000'000;  // ms

DictationEntry entry(DictationOutcome outcome, std::int64_t startedAt, std::string detail = "words",
                     std::string recording = "RIFF....WAVE") {
  DictationEntry made;
  made.startedAt = startedAt;
  made.durationMs = 3200;
  made.mode = TranscriptionMode::raw;
  made.language = "en,fr";
  made.outcome = outcome;
  if (outcome == DictationOutcome::inserted) made.text = detail;
  if (outcome == DictationOutcome::failed) made.failure = detail;
  made.recording = std::move(recording);
  return made;
}

class DictationHistoryTest : public ::testing::Test {
 protected:
  std::unique_ptr<DictationHistory> open(HistoryLimits limits = {}) {
    auto opened = DictationHistory::open(path(), limits, [this] { return now; });
    if (auto* error = std::get_if<HistoryError>(&opened)) {
      ADD_FAILURE() << error->description;
      return nullptr;
    }
    return std::move(std::get<std::unique_ptr<DictationHistory>>(opened));
  }
  std::string path() const { return (fs::path(dir.path()) / "pellum" / "history.sqlite3").string(); }
  std::int64_t add(DictationHistory& history, const DictationEntry& made) {
    const auto added = history.add(made);
    EXPECT_TRUE(std::holds_alternative<std::int64_t>(added));
    return std::holds_alternative<std::int64_t>(added) ? std::get<std::int64_t>(added) : 0;
  }

  server::test::TempDir dir;
  std::int64_t now = kNow;
};

TEST(DictationOutcomeNames, RoundTrip) {
  for (auto outcome : {DictationOutcome::inserted, DictationOutcome::failed, DictationOutcome::cancelled,
                       DictationOutcome::retried})
    EXPECT_EQ(outcomeFromName(outcomeName(outcome)), outcome);
  EXPECT_EQ(outcomeName(DictationOutcome::cancelled), "cancelled");
  EXPECT_EQ(outcomeFromName("lost"), std::nullopt);
}

TEST_F(DictationHistoryTest, KeepsEachFieldAndListsNewestFirst) {
  auto history = open();
  ASSERT_TRUE(history);
  const auto first = add(*history, entry(DictationOutcome::inserted, kNow - 2000, "Hello there."));
  const auto second = add(*history, entry(DictationOutcome::failed, kNow - 1000, "Server error: down"));
  const auto third = add(*history, entry(DictationOutcome::cancelled, kNow));
  EXPECT_LT(first, second);
  EXPECT_LT(second, third);

  const auto recent = history->recent(10);
  ASSERT_EQ(recent.size(), 3u);
  EXPECT_EQ(recent[0].id, third);
  EXPECT_EQ(recent[0].outcome, DictationOutcome::cancelled);
  EXPECT_EQ(recent[1].failure, "Server error: down");
  EXPECT_TRUE(recent[1].hasRecording);
  EXPECT_TRUE(recent[1].recording.empty());  // lists leave recordings out
  EXPECT_EQ(recent[2].text, "Hello there.");
  EXPECT_EQ(recent[2].startedAt, kNow - 2000);
  EXPECT_EQ(recent[2].durationMs, 3200);
  EXPECT_EQ(recent[2].mode, TranscriptionMode::raw);
  EXPECT_EQ(recent[2].language, "en,fr");
  EXPECT_EQ(history->recent(1).size(), 1u);

  const auto failed = history->find(second);
  ASSERT_TRUE(failed);
  EXPECT_EQ(failed->recording, "RIFF....WAVE");
  EXPECT_EQ(history->find(999), std::nullopt);
}

TEST_F(DictationHistoryTest, TheRecordingOfAnInsertedDictationIsKeptOnlyWhenAsked) {
  auto history = open();
  ASSERT_TRUE(history);
  const auto inserted = add(*history, entry(DictationOutcome::inserted, kNow));
  EXPECT_FALSE(history->find(inserted)->hasRecording);
  EXPECT_EQ(history->find(inserted)->recording, "");
  history.reset();

  auto keeping = open(HistoryLimits{.keepRecordings = true});
  ASSERT_TRUE(keeping);
  const auto kept = add(*keeping, entry(DictationOutcome::inserted, kNow));
  EXPECT_EQ(keeping->find(kept)->recording, "RIFF....WAVE");
}

TEST_F(DictationHistoryTest, KeepsTheNewestEntriesUpToTheLimit) {
  auto history = open(HistoryLimits{.maxEntries = 3});
  ASSERT_TRUE(history);
  std::vector<std::int64_t> ids;
  for (int i = 0; i < 5; ++i) ids.push_back(add(*history, entry(DictationOutcome::inserted, kNow + i)));
  const auto recent = history->recent(10);
  ASSERT_EQ(recent.size(), 3u);
  EXPECT_EQ(recent[0].id, ids[4]);
  EXPECT_EQ(recent[2].id, ids[2]);
  EXPECT_EQ(history->find(ids[1]), std::nullopt);
}

TEST_F(DictationHistoryTest, ForgetsEntriesOlderThanTheLimitAtTheNextWrite) {
  auto history = open(HistoryLimits{.maxAge = 7 * 24h});
  ASSERT_TRUE(history);
  const auto old = add(*history, entry(DictationOutcome::failed, kNow - (8 * 24h / 1ms)));
  const auto recent = add(*history, entry(DictationOutcome::inserted, kNow - (6 * 24h / 1ms)));
  EXPECT_EQ(history->find(old), std::nullopt);
  EXPECT_TRUE(history->find(recent));
  now += (2 * 24h / 1ms);
  add(*history, entry(DictationOutcome::inserted, now));
  EXPECT_EQ(history->find(recent), std::nullopt);
}

TEST_F(DictationHistoryTest, ARetryTurnsAFailureIntoTextAndDropsTheRecording) {
  auto history = open();
  ASSERT_TRUE(history);
  const auto failed = add(*history, entry(DictationOutcome::failed, kNow, "Server error: down"));
  EXPECT_EQ(history->recordRetry(failed, "Hello again."), std::nullopt);
  const auto retried = history->find(failed);
  ASSERT_TRUE(retried);
  EXPECT_EQ(retried->outcome, DictationOutcome::retried);
  EXPECT_EQ(retried->text, "Hello again.");
  EXPECT_EQ(retried->failure, "");
  EXPECT_FALSE(retried->hasRecording);
  const auto unknown = history->recordRetry(failed + 100, "lost");
  ASSERT_TRUE(unknown);
  EXPECT_EQ(unknown->description, "no dictation " + std::to_string(failed + 100));
}

TEST_F(DictationHistoryTest, SurvivesReopeningAndClears) {
  {
    auto history = open();
    ASSERT_TRUE(history);
    add(*history, entry(DictationOutcome::inserted, kNow));
  }
  auto history = open();
  ASSERT_TRUE(history);
  EXPECT_EQ(history->recent(10).size(), 1u);
  EXPECT_EQ(history->clear(), std::nullopt);
  EXPECT_TRUE(history->recent(10).empty());
}

TEST_F(DictationHistoryTest, TheFileAndItsFolderAreTheUsersAlone) {
  auto history = open();
  ASSERT_TRUE(history);
  const auto others = fs::perms::group_all | fs::perms::others_all;
  EXPECT_EQ(fs::status(path()).permissions() & others, fs::perms::none);
  EXPECT_EQ(fs::status(fs::path(path()).parent_path()).permissions() & others, fs::perms::none);
}

TEST_F(DictationHistoryTest, AnUnreadableFileIsMovedAsideAndAFreshOneBegun) {
  fs::create_directories(fs::path(path()).parent_path());
  {
    std::ofstream garbage(path(), std::ios::binary);
    garbage << std::string(8192, '\x5a');
  }
  auto history = open();
  ASSERT_TRUE(history);
  ASSERT_TRUE(history->movedAside());
  EXPECT_EQ(*history->movedAside(), path() + ".corrupt-" + std::to_string(kNow));
  EXPECT_TRUE(fs::exists(*history->movedAside()));
  EXPECT_EQ(fs::file_size(*history->movedAside()), 8192u);
  EXPECT_TRUE(history->recent(10).empty());
  add(*history, entry(DictationOutcome::inserted, kNow));
  EXPECT_EQ(history->recent(10).size(), 1u);
}

TEST_F(DictationHistoryTest, AFolderThatCannotBeMadeIsAnError) {
  const fs::path blocker = fs::path(dir.path()) / "file";
  std::ofstream(blocker) << "x";
  auto opened = DictationHistory::open((blocker / "history.sqlite3").string());
  ASSERT_TRUE(std::holds_alternative<HistoryError>(opened));
  EXPECT_NE(std::get<HistoryError>(opened).description.find("cannot create"), std::string::npos);
}

}  // namespace
}  // namespace pellum
