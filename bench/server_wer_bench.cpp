// Word error rate of the local engine on the five recorded utterances of
// pocketsphinx-testdata: directly through the engine with both
// end-of-utterance settings, then through a real server's live and upload
// routes. Prints figures; asserts nothing.
#include <chrono>
#include <cstdio>

#include "audio/wav.h"
#include "pcm_conversion.h"
#include "pocketsphinx_engine.h"
#include "server/recorded_speech.h"
#include "server/route_client.h"
#include "server/server_process.h"
#include "server_bench_support.h"
#include "transcription/live_transcript.h"
#include "transcription/multipart_body.h"
#include "transcription/upload_reply.h"

using namespace pellum;
using namespace pellum::server;
using Clock = std::chrono::steady_clock;

namespace {

double seconds(Clock::duration d) { return std::chrono::duration<double>(d).count(); }

struct Audio {
  test::Utterance utterance;
  std::string file;
  std::vector<std::int16_t> samples;
};

std::vector<Audio> loadSpeech() {
  std::vector<Audio> out;
  for (auto& utterance : test::recordedSpeech()) {
    Audio audio{utterance, test::readFile(utterance.wavPath), {}};
    audio.samples = monoSamples(std::get<WavInfo>(parseWav(audio.file)));
    out.push_back(std::move(audio));
  }
  return out;
}

void engineFigures(const std::vector<Audio>& speech, bool fastFinish) {
  PocketSphinxEngine engine({.fastFinish = fastFinish, .initialDecoders = 1, .maxDecoders = 1});
  bench::WordErrorRate streamed, whole;
  std::vector<double> finishMs;
  double audioSeconds = 0, decodeSeconds = 0;
  for (const auto& audio : speech) {
    auto stream = std::get<std::unique_ptr<SpeechStream>>(engine.open(SpeechRequest{{"en"}, "en", {}}));
    const auto start = Clock::now();
    for (std::size_t at = 0; at < audio.samples.size(); at += 480) {
      stream->feed(
          std::span(audio.samples).subspan(at, std::min<std::size_t>(480, audio.samples.size() - at)));
    }
    const auto fed = Clock::now();
    const std::string text = textOf(stream->finish());
    finishMs.push_back(1000 * seconds(Clock::now() - fed));
    decodeSeconds += seconds(Clock::now() - start);
    audioSeconds += static_cast<double>(audio.samples.size()) / 16000;
    streamed.add(audio.utterance.reference, text);
    stream.reset();
    whole.add(audio.utterance.reference,
              textOf(std::get<std::unique_ptr<SpeechStream>>(engine.open(SpeechRequest{{"en"}, "en", {}}))
                         ->transcribeWhole(audio.samples)));
  }
  std::printf(
      "engine  %-26s  WER streamed %5.1f%%  whole %5.1f%%  end of utterance p50 %5.1f ms  max %5.1f ms  RTF "
      "%.2f\n",
      fastFinish ? "-fwdflat no -bestpath no" : "defaults (fwdflat, bestpath)", streamed.percent(),
      whole.percent(), bench::percentile(finishMs, 50), bench::percentile(finishMs, 100),
      decodeSeconds / audioSeconds);
}

void serverFigures(const std::vector<Audio>& speech) {
  test::ServerProcess server;
  if (!server.started()) {
    std::printf("server did not start\n");
    return;
  }
  const std::string token = server.addDevice("bench");
  bench::WordErrorRate live, upload, resampled;
  std::string referenceTrn, liveTrn, uploadTrn;
  for (const auto& audio : speech) {
    const std::string id = audio.utterance.id.substr(audio.utterance.id.rfind('-') + 1);
    referenceTrn += bench::trnLine(audio.utterance.reference, id);
    test::LiveClient client;
    client.connect(server.transcribePort(),
                   "/transcribe/stream?provider=gladia&mode=raw&language=en&sample_rate=16000", token);
    for (const auto& chunk : test::pcmChunks(std::string(std::get<WavInfo>(parseWav(audio.file)).data)))
      client.sendBinary(chunk);
    client.sendText(R"({"type":"stop"})");
    LiveTranscript transcript(TranscriptionMode::raw, false);
    std::string text;
    for (const auto& message : client.readAll()) {
      if (auto effect = transcript.handle(message); effect.result && effect.result->ok())
        text = effect.result->text();
    }
    live.add(audio.utterance.reference, text);
    liveTrn += bench::trnLine(text, id);

    const auto reply =
        test::httpRequest(server.transcribePort(), "POST", "/transcribe",
                          {{"Content-Type", multipartContentType("b")}, {"Authorization", "Bearer " + token}},
                          buildMultipartBody("b", TranscriptionMode::raw, "en", "audio/wav", audio.file));
    UploadReply parsed;
    const auto result = parsed.feed(reply.body);
    upload.add(audio.utterance.reference, result && result->ok() ? result->text() : "");
    uploadTrn += bench::trnLine(result && result->ok() ? result->text() : "", id);

    // The same recording as 44.1 kHz stereo, which the server mixes and
    // brings back down to 16 kHz.
    Resampler up(16000, 44100);
    std::string stereo;
    for (auto sample : up.push(audio.samples)) {
      for (int channel = 0; channel < 2; ++channel) {
        stereo.push_back(static_cast<char>(static_cast<std::uint16_t>(sample) & 0xFF));
        stereo.push_back(static_cast<char>(static_cast<std::uint16_t>(sample) >> 8));
      }
    }
    std::string wav = wavData(stereo, 44100);
    wav[22] = 2;  // channels
    const auto stereoReply =
        test::httpRequest(server.transcribePort(), "POST", "/transcribe",
                          {{"Content-Type", multipartContentType("b")}, {"Authorization", "Bearer " + token}},
                          buildMultipartBody("b", TranscriptionMode::raw, "en", "audio/wav", wav));
    UploadReply stereoParsed;
    const auto stereoResult = stereoParsed.feed(stereoReply.body);
    resampled.add(audio.utterance.reference, stereoResult && stereoResult->ok() ? stereoResult->text() : "");
  }
  std::printf(
      "server  live route %5.1f%% WER   upload route %5.1f%% WER   upload at 44.1 kHz stereo %5.1f%% WER   "
      "(%zu reference words)\n",
      live.percent(), upload.percent(), resampled.percent(), live.words);
  std::printf("        live   %s\n", bench::scliteSummary(referenceTrn, liveTrn).c_str());
  std::printf("        upload %s\n", bench::scliteSummary(referenceTrn, uploadTrn).c_str());
}

}  // namespace

int main() {
  const auto speech = loadSpeech();
  std::printf("Word error rate on the %zu recorded utterances of pocketsphinx-testdata\n", speech.size());
  engineFigures(speech, true);
  engineFigures(speech, false);
  serverFigures(speech);
  return 0;
}
