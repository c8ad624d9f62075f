// Malformed and abandoned input of every kind, one after another against
// one server, which must keep serving well-formed requests afterwards.
#include <gtest/gtest.h>

#include <random>

#include "audio/wav.h"
#include "recorded_speech.h"
#include "route_client.h"
#include "server_process.h"
#include "transcription/multipart_body.h"

namespace pellum::server::test {
namespace {

constexpr const char* kTarget = "/transcribe/stream?provider=gladia&mode=clean&language=en&sample_rate=16000";

std::string randomText(std::mt19937& random, std::size_t size) {
  std::string text(size, ' ');
  for (char& c : text) c = static_cast<char>(' ' + random() % 95);
  return text;
}

std::string randomBytes(std::mt19937& random, std::size_t size) {
  std::string bytes(size, '\0');
  for (char& c : bytes) c = static_cast<char>(random() & 0xFF);
  return bytes;
}

class ServerBadInputTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server.started()) << server.output();
    token = server.addDevice("Bad input");
  }

  // A well-formed dictation still works.
  void expectServing() {
    const std::string wav = readFile(recordedSpeech().at(4).wavPath);
    LiveClient client;
    ASSERT_EQ(client.connect(server.transcribePort(), kTarget, token), 101);
    for (const auto& chunk : pcmChunks(std::string(std::get<WavInfo>(parseWav(wav)).data))) client.sendBinary(chunk);
    client.sendText(R"({"type":"stop"})");
    const auto messages = client.readAll();
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.back(), R"({"type":"done"})");
    const auto reply = httpRequest(server.transcribePort(), "POST", "/transcribe",
                                   {{"Content-Type", multipartContentType("b")}, {"Authorization", "Bearer " + token}},
                                   buildMultipartBody("b", TranscriptionMode::raw, "en", "audio/wav", wav));
    EXPECT_EQ(reply.status, 200);
    EXPECT_NE(reply.body.find("event: done"), std::string::npos);
  }

  ServerProcess server;
  std::string token;
  std::mt19937 random{20261122};
};

TEST_F(ServerBadInputTest, RandomAudioAndTextMessages) {
  for (int session = 0; session < 5; ++session) {
    LiveClient client;
    ASSERT_EQ(client.connect(server.transcribePort(), kTarget, token), 101);
    for (int i = 0; i < 20; ++i) client.sendBinary(randomBytes(random, 1 + random() % 3000));
    client.sendText(session % 2 ? std::string(R"({"type":"stop"})") : "x" + randomText(random, 50));
    const auto messages = client.readAll();
    ASSERT_FALSE(messages.empty());
    EXPECT_TRUE(messageType(messages.back()) == "done" || messageType(messages.back()) == "error") << messages.back();
  }
  expectServing();
}

// The WebSocket protocol itself fails a connection whose text is not UTF-8
// (close code 1007), before the session sees the message.
TEST_F(ServerBadInputTest, TextThatIsNotUtf8ClosesTheConnection) {
  LiveClient client;
  ASSERT_EQ(client.connect(server.transcribePort(), kTarget, token), 101);
  client.sendText("{\"type\":\"st\xff\xfe\"}");
  EXPECT_TRUE(client.readAll().empty());
  EXPECT_EQ(client.closeCode(), 1007);
  expectServing();
}

TEST_F(ServerBadInputTest, ClientsThatVanishMidSession) {
  for (int session = 0; session < 5; ++session) {
    LiveClient client;
    ASSERT_EQ(client.connect(server.transcribePort(), kTarget, token), 101);
    client.sendBinary(randomBytes(random, 960));
    if (session % 2) client.sendText(R"({"type":"stop"})");
  }  // each client's socket closes here without a close handshake
  const std::string partial =
      "POST /transcribe HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer " + token +
      "\r\nContent-Type: multipart/form-data; boundary=b\r\nContent-Length: 100000\r\n\r\n--b\r\n";
  sendAndVanish(server.transcribePort(), partial.substr(0, partial.size() / 2));
  sendAndVanish(server.transcribePort(), partial);
  expectServing();
}

TEST_F(ServerBadInputTest, MalformedHttpOnBothPorts) {
  const std::vector<std::string> requests{
      "GET / HTTP/1.1\r\n\r\n",
      "NOT HTTP\r\n\r\n",
      "GET /transcribe/stream HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer " + token +
          "\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n\r\n",  // no key, no version
      "POST /transcribe HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer " + token +
          "\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n",
      "POST /api/devices/exchange HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 5\r\n\r\n{\"a\":",
      "GET /" + std::string(20000, 'a') + " HTTP/1.1\r\nHost: x\r\n\r\n",
      randomBytes(random, 4000),
  };
  for (const auto& request : requests) {
    rawHttpExchange(server.transcribePort(), request);
    rawHttpExchange(server.webPort(), request);
  }
  EXPECT_EQ(httpRequest(server.webPort(), "GET", "/").status, 200);
  expectServing();
}

}  // namespace
}  // namespace pellum::server::test
