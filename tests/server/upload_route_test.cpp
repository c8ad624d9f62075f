// POST /transcribe on a real server over loopback.
#include <gtest/gtest.h>

#include "audio/wav.h"
#include "recorded_speech.h"
#include "route_client.h"
#include "server_process.h"
#include "transcription/multipart_body.h"
#include "transcription/upload_reply.h"

namespace pellum::server::test {
namespace {

class ServerUploadRouteTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server.started()) << server.output();
    token = server.addDevice("Upload test");
    ASSERT_FALSE(token.empty());
  }

  HttpReply upload(const std::string& body, const std::string& boundary = "B0und4ry",
                   const std::string& bearer = "") {
    return httpRequest(server.transcribePort(), "POST", "/transcribe",
                       {{"Content-Type", multipartContentType(boundary)},
                        {"Authorization", "Bearer " + (bearer.empty() ? token : bearer)}},
                       body);
  }

  HttpReply uploadWav(const std::string& wav, TranscriptionMode mode = TranscriptionMode::clean,
                      const std::string& language = "en") {
    return upload(buildMultipartBody("B0und4ry", mode, language, "audio/wav", wav));
  }

  // What the desktop client makes of a reply body.
  static std::optional<UploadResult> clientResult(const std::string& body) {
    UploadReply reply;
    return reply.feed(body);
  }

  ServerProcess server;
  std::string token;
  Utterance speech = recordedSpeech().at(1);
};

TEST_F(ServerUploadRouteTest, CleanModeAnswersTheCleanedTranscript) {
  const auto reply = uploadWav(readFile(speech.wavPath));
  ASSERT_EQ(reply.status, 200) << reply.body;
  EXPECT_EQ(reply.headers.at("content-type"), "text/event-stream");
  EXPECT_EQ(reply.body.rfind("event: raw\ndata: \"", 0), 0u) << reply.body;
  EXPECT_NE(reply.body.find("event: chunk\n"), std::string::npos);
  EXPECT_EQ(reply.body.find('\r'), std::string::npos);
  const auto result = clientResult(reply.body);
  ASSERT_TRUE(result && result->ok()) << reply.body;
  EXPECT_GE(wordRecall(result->text(), speech.reference), 0.6) << result->text();
  EXPECT_TRUE(std::isupper(static_cast<unsigned char>(result->text().front()))) << result->text();
  EXPECT_EQ(result->text().back(), '.');
}

TEST_F(ServerUploadRouteTest, RawModeAnswersRawThenDone) {
  const auto reply = uploadWav(readFile(speech.wavPath), TranscriptionMode::raw);
  ASSERT_EQ(reply.status, 200);
  EXPECT_EQ(reply.body.find("event: chunk"), std::string::npos) << reply.body;
  EXPECT_NE(reply.body.find("event: done\ndata: {}\n\n"), std::string::npos);
  const auto result = clientResult(reply.body);
  ASSERT_TRUE(result && result->ok());
  EXPECT_GE(wordRecall(result->text(), speech.reference), 0.6) << result->text();
}

// 48 kHz stereo made from the 16 kHz recording: each sample three times,
// left and right alike. The longest recording, so the body is well over a
// mebibyte.
TEST_F(ServerUploadRouteTest, StereoAt48kHzIsMixedAndResampled) {
  speech = recordedSpeech().at(0);
  const std::string original = readFile(speech.wavPath);
  const auto info = std::get<WavInfo>(parseWav(original));
  std::string stereo;
  for (std::size_t at = 0; at + 1 < info.data.size(); at += 2) {
    for (int copy = 0; copy < 6; ++copy) stereo.append(info.data.substr(at, 2));
  }
  std::string wav = wavData(stereo, 48000);
  wav[22] = 2;  // channels
  ASSERT_GT(wav.size(), 1024u * 1024u);
  const auto reply = uploadWav(wav);
  ASSERT_EQ(reply.status, 200) << reply.body;
  const auto result = clientResult(reply.body);
  ASSERT_TRUE(result && result->ok()) << reply.body;
  EXPECT_GE(wordRecall(result->text(), speech.reference), 0.6) << result->text();
}

TEST_F(ServerUploadRouteTest, SilenceIsNoSpeech) {
  const auto reply = uploadWav(wavData(std::string(32000, '\0'), 16000));
  ASSERT_EQ(reply.status, 200);
  EXPECT_EQ(reply.body, "event: error\ndata: no speech detected\n\n");
}

TEST_F(ServerUploadRouteTest, UnsupportedLanguagesAreNamed) {
  const auto reply = uploadWav(readFile(speech.wavPath), TranscriptionMode::clean, "fr,de");
  ASSERT_EQ(reply.status, 200);
  EXPECT_EQ(reply.body, "event: error\ndata: no speech model for French (fr), German (de)\n\n");
}

TEST_F(ServerUploadRouteTest, FirstSupportedLanguageOfAListIsUsed) {
  const auto reply = uploadWav(readFile(speech.wavPath), TranscriptionMode::raw, "fr,en");
  const auto result = clientResult(reply.body);
  ASSERT_TRUE(result && result->ok()) << reply.body;
}

TEST_F(ServerUploadRouteTest, MissingUnknownAndRevokedTokensGet401) {
  const std::string body = buildMultipartBody("B0und4ry", TranscriptionMode::clean, "en", "audio/wav", "x");
  EXPECT_EQ(httpRequest(server.transcribePort(), "POST", "/transcribe",
                        {{"Content-Type", multipartContentType("B0und4ry")}}, body)
                .status,
            401);
  EXPECT_EQ(upload(body, "B0und4ry", "not-a-token").status, 401);
  const std::string other = server.addDevice("Revoked");
  ASSERT_TRUE(server.revokeDevice("2"));
  EXPECT_EQ(upload(body, "B0und4ry", other).status, 401);
}

TEST_F(ServerUploadRouteTest, MalformedFormIs400WithAnErrorEvent) {
  for (const std::string& body : {std::string("not a form"), std::string("--B0und4ry\r\nno headers here")}) {
    const auto reply = upload(body);
    EXPECT_EQ(reply.status, 400);
    EXPECT_EQ(reply.body.rfind("event: error\ndata: malformed form: ", 0), 0u) << reply.body;
  }
  const auto wrongType =
      httpRequest(server.transcribePort(), "POST", "/transcribe",
                  {{"Content-Type", "application/json"}, {"Authorization", "Bearer " + token}}, "{}");
  EXPECT_EQ(wrongType.status, 400);
  EXPECT_EQ(wrongType.body.rfind("event: error\n", 0), 0u);
}

TEST_F(ServerUploadRouteTest, UnreadableAudioIs415WithAnErrorEvent) {
  const std::string wav = readFile(speech.wavPath);
  for (const std::string& audio : {std::string("ID3 an mp3 perhaps"), wav.substr(0, 30), wav.substr(0, 12)}) {
    const auto reply = uploadWav(audio);
    EXPECT_EQ(reply.status, 415);
    EXPECT_EQ(reply.body.rfind("event: error\ndata: cannot read audio: ", 0), 0u) << reply.body;
  }
  std::string floatWav = wavData(std::string(64, '\0'), 16000);
  floatWav[20] = 3;
  floatWav[34] = 32;
  const auto reply = uploadWav(floatWav);
  EXPECT_EQ(reply.status, 415);
  EXPECT_NE(reply.body.find("32-bit float"), std::string::npos) << reply.body;
}

TEST_F(ServerUploadRouteTest, OversizedBodyIs413WithAnErrorEvent) {
  const std::string request = "POST /transcribe HTTP/1.1\r\nHost: 127.0.0.1\r\nAuthorization: Bearer " +
                              token + "\r\nContent-Type: " + multipartContentType("b") +
                              "\r\nContent-Length: 2000000000\r\n\r\n--b\r\n";
  const auto reply = rawHttpExchange(server.transcribePort(), request);
  EXPECT_EQ(reply.status, 413);
  EXPECT_EQ(reply.body.rfind("event: error\ndata: upload over ", 0), 0u) << reply.body;
}

TEST_F(ServerUploadRouteTest, LargeUploadThatAsksFirstIsToldToContinue) {
  const std::string request = "POST /transcribe HTTP/1.1\r\nHost: 127.0.0.1\r\nAuthorization: Bearer " +
                              token + "\r\nContent-Type: " + multipartContentType("b") +
                              "\r\nExpect: 100-continue\r\nContent-Length: 2000000\r\n\r\n";
  EXPECT_EQ(rawHttpExchange(server.transcribePort(), request).status, 100);
}

TEST_F(ServerUploadRouteTest, UnknownRouteIs404) {
  EXPECT_EQ(httpRequest(server.transcribePort(), "GET", "/nothing").status, 404);
  EXPECT_EQ(httpRequest(server.transcribePort(), "GET", "/transcribe").status, 404);
}

TEST_F(ServerUploadRouteTest, GarbageRequestLineDoesNotHurtTheServer) {
  // Answered 400 and closed, rather than closed in silence.
  EXPECT_EQ(rawHttpExchange(server.transcribePort(), "\x16\x03\x01 not http at all\r\n\r\n").status, 400);
  const auto reply = uploadWav(readFile(speech.wavPath), TranscriptionMode::raw);
  EXPECT_EQ(reply.status, 200);
}

TEST_F(ServerUploadRouteTest, LogsCarryNoTokenAndNoTranscript) {
  const auto reply = uploadWav(readFile(speech.wavPath), TranscriptionMode::raw);
  const auto result = clientResult(reply.body);
  ASSERT_TRUE(result && result->ok());
  server.terminate();
  const std::string log = server.output();
  EXPECT_NE(log.find("pellum-server: POST /transcribe 200"), std::string::npos) << log;
  EXPECT_EQ(log.find(token), std::string::npos);
  EXPECT_EQ(log.find(result->text()), std::string::npos);
}

}  // namespace
}  // namespace pellum::server::test
