// `pellum history` run as users run it, as a separate process, over a store
// in a private data folder, retrying against the real pellum-server.
#include <gtest/gtest.h>

#include <QProcess>
#include <QTemporaryDir>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <variant>

#include "history/dictation_history.h"
#include "recorded_speech.h"
#include "server_process.h"

namespace pellum {
namespace {

using server::test::ServerProcess;

struct CommandRun {
  int exitCode = -1;
  std::string out;
  std::string err;
};

class HistoryCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(home_.isValid());
    utterance_ = server::test::recordedSpeech().at(1);
  }

  std::string storePath() const {
    return home_.filePath(QStringLiteral("data/pellum/history.sqlite3")).toStdString();
  }

  // A dictation that failed and kept its recording, as the desktop leaves one
  // when the server was away.
  std::int64_t keepFailedDictation() {
    std::ifstream in(utterance_.wavPath, std::ios::binary);
    DictationEntry entry;
    entry.startedAt = 1'800'000'000'000;
    entry.durationMs = 4100;
    entry.mode = TranscriptionMode::raw;
    entry.language = "en";
    entry.outcome = DictationOutcome::failed;
    entry.failure = "Server error: connection refused";
    entry.recording.assign(std::istreambuf_iterator<char>(in), {});
    auto opened = DictationHistory::open(storePath());
    EXPECT_TRUE(std::holds_alternative<std::unique_ptr<DictationHistory>>(opened));
    const auto added = std::get<std::unique_ptr<DictationHistory>>(opened)->add(entry);
    return std::get<std::int64_t>(added);
  }

  CommandRun run(QStringList arguments, const ServerProcess* server = nullptr,
                 const std::string& token = {}) {
    QProcess process;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), home_.filePath(QStringLiteral("data")));
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home_.filePath(QStringLiteral("config")));
    // Nothing listens here unless a server is given: a refused connection.
    environment.insert(QStringLiteral("PELLUM_TRANSCRIBE_URL"),
                       server ? QStringLiteral("http://127.0.0.1:%1").arg(server->transcribePort())
                              : QStringLiteral("http://127.0.0.1:1"));
    environment.insert(QStringLiteral("PELLUM_TOKEN"), QString::fromStdString(token.empty() ? "tok" : token));
    environment.remove(QStringLiteral("DISPLAY"));
    process.setProcessEnvironment(environment);
    arguments.prepend(QStringLiteral("history"));
    process.start(QStringLiteral(PELLUM_BINARY), arguments);
    if (!process.waitForFinished(60000)) return {};
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardOutput().toStdString(), process.readAllStandardError().toStdString()};
  }

  nlohmann::json listed() {
    const CommandRun listing = run({QStringLiteral("--json")});
    EXPECT_EQ(listing.exitCode, 0) << listing.err;
    return nlohmann::json::parse(listing.out, nullptr, false);
  }

  QTemporaryDir home_;
  server::test::Utterance utterance_;
};

TEST_F(HistoryCommandTest, AnEmptyHistorySaysSoAndListsAsAnEmptyArray) {
  const CommandRun plain = run({});
  EXPECT_EQ(plain.exitCode, 0) << plain.err;
  EXPECT_EQ(plain.out, "No dictations yet.\n");
  EXPECT_EQ(listed(), nlohmann::json::array());
}

TEST_F(HistoryCommandTest, JsonHasTheDocumentedFields) {
  const auto id = keepFailedDictation();
  const nlohmann::json entries = listed();
  ASSERT_TRUE(entries.is_array());
  ASSERT_EQ(entries.size(), 1u);
  const auto& entry = entries[0];
  EXPECT_EQ(entry["id"], id);
  EXPECT_EQ(entry["started_at"], "2027-01-15T08:00:00Z");
  EXPECT_EQ(entry["duration_ms"], 4100);
  EXPECT_EQ(entry["mode"], "raw");
  EXPECT_EQ(entry["language"], "en");
  EXPECT_EQ(entry["outcome"], "failed");
  EXPECT_EQ(entry["failure"], "Server error: connection refused");
  EXPECT_EQ(entry["text"], "");
  EXPECT_EQ(entry["has_recording"], true);
  EXPECT_EQ(entry.size(), 9u);
}

TEST_F(HistoryCommandTest, ARetryWithTheServerStillAwayFailsAndKeepsTheRecording) {
  const auto id = keepFailedDictation();
  const CommandRun retry = run({QStringLiteral("retry"), QString::number(id)});
  EXPECT_EQ(retry.exitCode, 1);
  EXPECT_NE(retry.err.find("pellum history: the retry failed: "), std::string::npos) << retry.err;
  const nlohmann::json entries = listed();
  EXPECT_EQ(entries[0]["outcome"], "failed");
  EXPECT_EQ(entries[0]["has_recording"], true);
}

TEST_F(HistoryCommandTest, ARetryWithTheServerBackPrintsTheWordsAndUpdatesTheEntry) {
  const auto id = keepFailedDictation();
  ServerProcess server;
  ASSERT_TRUE(server.started());
  const std::string token = server.addDevice("history retry");
  const CommandRun retry = run({QStringLiteral("retry"), QString::number(id)}, &server, token);
  ASSERT_EQ(retry.exitCode, 0) << retry.err << server.output();
  EXPECT_GE(server::test::wordRecall(retry.out, utterance_.reference), 0.6) << retry.out;
  const nlohmann::json entries = listed();
  EXPECT_EQ(entries[0]["outcome"], "retried");
  EXPECT_EQ(entries[0]["text"].get<std::string>() + "\n", retry.out);
  EXPECT_EQ(entries[0]["failure"], "");
  EXPECT_EQ(entries[0]["has_recording"], false);
}

TEST_F(HistoryCommandTest, BadArgumentsAndUnknownEntriesGetAClearError) {
  const CommandRun limit = run({QStringLiteral("--limit"), QStringLiteral("zero")});
  EXPECT_EQ(limit.exitCode, 2);
  EXPECT_NE(limit.err.find("--limit takes a whole number above 0"), std::string::npos) << limit.err;
  const CommandRun unknown = run({QStringLiteral("--everything")});
  EXPECT_EQ(unknown.exitCode, 2);
  EXPECT_NE(unknown.err.find("unknown argument \"--everything\""), std::string::npos) << unknown.err;
  const CommandRun missing = run({QStringLiteral("retry"), QStringLiteral("42")});
  EXPECT_EQ(missing.exitCode, 1);
  EXPECT_EQ(missing.err, "pellum history: no dictation 42 (see pellum history)\n");
}

TEST_F(HistoryCommandTest, ClearForgetsEverything) {
  keepFailedDictation();
  const CommandRun clear = run({QStringLiteral("clear")});
  EXPECT_EQ(clear.exitCode, 0) << clear.err;
  EXPECT_EQ(clear.out, "History cleared\n");
  EXPECT_EQ(listed(), nlohmann::json::array());
}

}  // namespace
}  // namespace pellum
