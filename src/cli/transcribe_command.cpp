#include "cli/transcribe_command.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QPointer>
#include <cstdio>
#include <variant>

#include "account/token_source.h"
#include "audio/dictation_format.h"
#include "audio/pcm_chunker.h"
#include "audio/wav.h"
#include "base/log_line.h"
#include "base/threads.h"
#include "settings/preferences.h"
#include "transcription/dictation_policy.h"
#include "transcription/server_url.h"

namespace pellum {

TranscribeCommand::TranscribeCommand(QStringList arguments) : arguments_(std::move(arguments)) {
  pacer_.setTimerType(Qt::PreciseTimer);
  pacer_.setInterval(kDictationChunkMilliseconds);
  connect(&pacer_, &QTimer::timeout, this, &TranscribeCommand::sendNextChunk);
}

bool TranscribeCommand::parse(Options& options) {
  QCommandLineParser parser;
  parser.setApplicationDescription(QStringLiteral(
      "Transcribes a 16 kHz mono 16-bit WAV file with the transcription server and prints the text."));
  parser.addHelpOption();
  parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("The WAV recording to transcribe."));
  const QCommandLineOption realtime(
      QStringLiteral("realtime"),
      QStringLiteral("Stream the audio at speaking pace, one 30 ms chunk at a time."));
  const QCommandLineOption batch(QStringLiteral("batch"),
                                 QStringLiteral("Upload the file in one request; no live stream."));
  const QCommandLineOption mode(QStringLiteral("mode"),
                                QStringLiteral("raw or clean (default: the menu's choice)."),
                                QStringLiteral("MODE"));
  const QCommandLineOption language(
      QStringLiteral("language"),
      QStringLiteral("Language code(s), comma-separated (default: as the menu says)."),
      QStringLiteral("CODES"));
  const QCommandLineOption translate(
      QStringLiteral("translate-to"),
      QStringLiteral("Translate into this language (default: the menu's choice)."), QStringLiteral("CODE"));
  parser.addOptions({realtime, batch, mode, language, translate});

  if (!parser.parse(arguments_)) {
    printLine(stderr, "pellum transcribe: " + parser.errorText().toStdString());
    return false;
  }
  if (parser.isSet(QStringLiteral("help"))) {
    printLine(stdout, parser.helpText().toStdString());
    exitCode_ = kSuccess;
    return false;
  }
  const QStringList files = parser.positionalArguments();
  if (files.size() != 1) {
    printLine(stderr, "pellum transcribe: expected one WAV file, got " + std::to_string(files.size()) +
                          " (see pellum transcribe --help)");
    return false;
  }
  options.file = files.first();
  options.realtime = parser.isSet(realtime);
  options.batch = parser.isSet(batch);

  options.mode = Preferences::currentMode();
  if (parser.isSet(mode)) {
    const auto chosen = transcriptionModeFromRawValue(parser.value(mode).toStdString());
    if (!chosen) {
      printLine(stderr, "pellum transcribe: --mode must be raw or clean, not \"" +
                            parser.value(mode).toStdString() + "\"");
      return false;
    }
    options.mode = *chosen;
  }
  options.language = parser.isSet(language) ? parser.value(language).toStdString() : requestLanguage();
  options.translateTo = parser.isSet(translate) ? std::optional(parser.value(translate).toStdString())
                                                : Preferences::translationTarget();
  if (options.translateTo && options.translateTo->empty()) options.translateTo.reset();
  return true;
}

bool TranscribeCommand::loadAudio(const QString& path) {
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly)) {
    printLine(stderr, "pellum transcribe: cannot read " + path.toStdString() + ": " +
                          file.errorString().toStdString());
    return false;
  }
  const QByteArray bytes = file.readAll();
  const auto parsed = parseWav(std::string_view(bytes.constData(), static_cast<std::size_t>(bytes.size())));
  if (const auto* error = std::get_if<WavError>(&parsed)) {
    printLine(stderr, "pellum transcribe: " + path.toStdString() + ": " + error->description);
    return false;
  }
  const auto& info = std::get<WavInfo>(parsed);
  if (!info.isPcm16() || info.channels != 1 || info.sampleRate != kDictationSampleRate) {
    printLine(stderr, "pellum transcribe: " + path.toStdString() + ": expected " +
                          std::to_string(kDictationSampleRate) + " Hz, 1 channel, 16-bit PCM; found " +
                          info.describe());
    return false;
  }
  pcm_.assign(info.data);
  return true;
}

int TranscribeCommand::run() {
  if (!parse(options_) || !loadAudio(options_.file)) return exitCode_ == kSuccess ? kSuccess : kUsage;

  client_ = std::make_unique<TranscriptionClient>(resolveServerURL(), signedInToken,
                                                  [language = options_.language] { return language; });
  if (options_.batch) {
    upload(/*fallback=*/false);
  } else {
    startStreaming();
  }
  if (!done_) QCoreApplication::exec();
  return exitCode_;
}

void TranscribeCommand::startStreaming() {
  // The file goes through the same chunker and speech gate as the
  // microphone: silence before the first word is never streamed.
  PcmChunker chunker;
  for (auto& chunk : chunker.append(pcm_)) chunks_.push_back(std::move(chunk));
  remainder_ = chunker.takeRemainder();

  const auto mode = options_.mode;
  session_ = client_->startStreaming(mode, options_.language, options_.translateTo, kDictationSampleRate,
                                     [guard = QPointer<TranscribeCommand>(this)](StreamingResult result) {
                                       postToMainThread(
                                           guard, [result = std::move(result)](TranscribeCommand& command) {
                                             command.onStreamingResult(result);
                                           });
                                     });
  if (!session_) return;  // the completion has the reason
  if (options_.realtime) return pacer_.start();
  while (!chunks_.empty()) feedNextChunk();
  finishAudio();
}

void TranscribeCommand::sendNextChunk() {
  if (!chunks_.empty()) feedNextChunk();
  if (chunks_.empty()) finishAudio();
}

void TranscribeCommand::feedNextChunk() {
  speech_.feed(chunks_.front(), [this](const std::string& chunk) {
    if (session_) session_->sendAudio(chunk);
  });
  chunks_.pop_front();
}

void TranscribeCommand::finishAudio() {
  pacer_.stop();
  if (!session_) return;
  speech_.finish(remainder_, [this](const std::string& chunk) { session_->sendAudio(chunk); });
  remainder_.clear();
  session_->stop();
}

void TranscribeCommand::onStreamingResult(const StreamingResult& result) {
  pacer_.stop();
  session_.reset();
  const AfterStream step = afterStream(result);
  switch (step.next) {
    case AfterStream::Next::insertText:
      return succeed(result.text());
    case AfterStream::Next::uploadRecording:
      printLine(stderr, step.logLine);
      return upload(/*fallback=*/true);
    case AfterStream::Next::finishWithoutText:
      return fail(result.error().description());
  }
}

void TranscribeCommand::upload(bool fallback) {
  const QPointer<TranscribeCommand> guard(this);
  client_->transcribe(
      wavData(pcm_, kDictationSampleRate), "audio/wav", options_.mode,
      [guard, fallback](UploadResult result) {
        postToMainThread(guard, [fallback, result = std::move(result)](TranscribeCommand& command) {
          command.onUploadResult(result, fallback);
        });
      },
      [guard] { postToMainThread(guard, [](TranscribeCommand& command) { command.onUploadEnded(); }); });
}

void TranscribeCommand::onUploadResult(const UploadResult& result, bool fallback) {
  if (result.ok()) return succeed(result.text());
  fail(fallback ? fallbackFailedLine(result.error()) : result.error().description());
}

void TranscribeCommand::onUploadEnded() {
  // The upload route promises "done" or "error"; a reply that just stops
  // would otherwise leave us waiting forever.
  if (!done_) fail(replyEndedWithoutText().description());
}

void TranscribeCommand::succeed(const std::string& text) {
  if (done_) return;
  done_ = true;
  printLine(stdout, text);
  exitCode_ = kSuccess;
  QCoreApplication::exit(exitCode_);
}

void TranscribeCommand::fail(const std::string& message) {
  if (done_) return;
  done_ = true;
  printLine(stderr, message);
  exitCode_ = kFailed;
  QCoreApplication::exit(exitCode_);
}

}  // namespace pellum
