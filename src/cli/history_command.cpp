#include "cli/history_command.h"

#include <QCoreApplication>
#include <QObject>
#include <QPointer>
#include <ctime>
#include <nlohmann/json.hpp>
#include <string>
#include <variant>

#include "account/token_source.h"
#include "base/log_line.h"
#include "base/threads.h"
#include "history/dictation_history.h"
#include "history/history_path.h"
#include "transcription/dictation_policy.h"
#include "transcription/server_url.h"
#include "transcription/transcription_client.h"

namespace pellum {
namespace {

constexpr int kDefaultLimit = 20;
constexpr int kUsage = 2;

void usage(const std::string& problem) {
  printLine(stderr, "pellum history: " + problem);
  printLine(stderr, "usage: pellum history [--json] [--limit N] | clear | retry ID");
}

// The upload route's answer to `entry`'s kept recording, sent once. Runs
// the event loop until it answers (within the client's own deadlines).
UploadResult uploadAgain(const DictationEntry& entry) {
  TranscriptionClient client(resolveServerURL(), signedInToken,
                             [language = entry.language] { return language; });
  std::optional<UploadResult> outcome;
  QObject waiter;
  const QPointer<QObject> guard(&waiter);
  const auto settle = [&outcome](UploadResult result) {
    if (outcome) return;
    outcome = std::move(result);
    QCoreApplication::exit(0);
  };
  client.transcribe(
      entry.recording, "audio/wav", entry.mode,
      [guard, settle](UploadResult result) {
        postToMainThread(guard, [settle, result = std::move(result)](QObject&) { settle(result); });
      },
      [guard, settle] {
        postToMainThread(guard,
                         [settle](QObject&) { settle(UploadResult::failure(replyEndedWithoutText())); });
      });
  if (!outcome) QCoreApplication::exec();
  return *outcome;
}

int retry(DictationHistory& history, const QString& idText) {
  bool ok = false;
  const std::int64_t id = idText.toLongLong(&ok);
  const auto entry = ok ? history.find(id) : std::nullopt;
  if (!entry) {
    printLine(stderr, "pellum history: no dictation " + idText.toStdString() + " (see pellum history)");
    return 1;
  }
  if (!entry->hasRecording) {
    printLine(stderr, "pellum history: dictation " + std::to_string(id) + " kept no recording to retry");
    return 1;
  }
  const UploadResult outcome = uploadAgain(*entry);
  if (!outcome.ok()) {
    printLine(stderr, "pellum history: the retry failed: " + outcome.error().description());
    return 1;
  }
  const std::string& text = outcome.text();
  printLine(stdout, text);
  if (const auto error = history.recordRetry(id, text)) {
    printLine(stderr, "pellum history: " + error->description);
    return 1;
  }
  return 0;
}

// "2026-11-23T04:52:40Z", UTC, to the second.
std::string isoTime(std::int64_t unixMs) {
  const std::time_t seconds = static_cast<std::time_t>(unixMs / 1000);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

nlohmann::json asJson(const DictationEntry& entry) {
  return {{"id", entry.id},
          {"started_at", isoTime(entry.startedAt)},
          {"duration_ms", entry.durationMs},
          {"mode", std::string(rawValue(entry.mode))},
          {"language", entry.language},
          {"outcome", std::string(outcomeName(entry.outcome))},
          {"failure", entry.failure},
          {"text", entry.text},
          {"has_recording", entry.hasRecording}};
}

// "12  2026-11-23T04:52:40Z  3.2 s  inserted  the text" (or the reason).
std::string asLine(const DictationEntry& entry) {
  const std::string seconds =
      std::to_string(entry.durationMs / 1000) + "." + std::to_string((entry.durationMs % 1000) / 100) + " s";
  const std::string what = entry.outcome == DictationOutcome::failed ? entry.failure : entry.text;
  return std::to_string(entry.id) + "  " + isoTime(entry.startedAt) + "  " + seconds + "  " +
         std::string(outcomeName(entry.outcome)) + (entry.hasRecording ? " (recording kept)" : "") + "  " +
         what;
}

}  // namespace

int runHistoryCommand(const QStringList& arguments) {
  bool json = false;
  bool clear = false;
  std::optional<QString> retryId;
  int limit = kDefaultLimit;
  for (qsizetype i = 0; i < arguments.size(); ++i) {
    const QString& argument = arguments[i];
    if (argument == QStringLiteral("--json")) {
      json = true;
    } else if (argument == QStringLiteral("--limit") && i + 1 < arguments.size()) {
      bool ok = false;
      limit = arguments[++i].toInt(&ok);
      if (!ok || limit < 1) {
        usage("--limit takes a whole number above 0");
        return kUsage;
      }
    } else if (argument == QStringLiteral("clear") && arguments.size() == 1) {
      clear = true;
    } else if (argument == QStringLiteral("retry") && arguments.size() == 2 && i == 0) {
      retryId = arguments[++i];
    } else {
      usage("unknown argument \"" + argument.toStdString() + "\"");
      return kUsage;
    }
  }
  auto opened = DictationHistory::open(defaultHistoryPath());
  if (const auto* error = std::get_if<HistoryError>(&opened)) {
    printLine(stderr, "pellum history: " + error->description);
    return 1;
  }
  auto& history = *std::get<std::unique_ptr<DictationHistory>>(opened);
  if (retryId) return retry(history, *retryId);
  if (clear) {
    if (const auto error = history.clear()) {
      printLine(stderr, "pellum history: " + error->description);
      return 1;
    }
    printLine(stdout, "History cleared");
    return 0;
  }
  const auto entries = history.recent(limit);
  if (json) {
    nlohmann::json list = nlohmann::json::array();
    for (const auto& entry : entries) list.push_back(asJson(entry));
    // Transcripts may hold any character; the output stays pure ASCII JSON.
    printLine(stdout, list.dump(2, ' ', /*ensure_ascii=*/true));
    return 0;
  }
  if (entries.empty()) printLine(stdout, "No dictations yet.");
  for (const auto& entry : entries) printLine(stdout, asLine(entry));
  return 0;
}

}  // namespace pellum
