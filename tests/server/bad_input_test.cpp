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
    for (const auto& chunk : pcmChunks(std::string(std::get<WavInfo>(parseWav(wav)).data)))
      client.sendBinary(chunk);
    client.sendText(R"({"type":"stop"})");
    const auto messages = client.readAll();
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.back(), R"({"type":"done"})");
    const auto reply =
        httpRequest(server.transcribePort(), "POST", "/transcribe",
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
    EXPECT_TRUE(messageType(messages.back()) == "done" || messageType(messages.back()) == "error")
        << messages.back();
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

TEST_F(ServerBadInputTest, MalformedRequestsGetAStatusAndAClose) {
  using namespace std::string_literals;
  struct Case {
    std::string request;
    int status;
  };
  const std::string head =
      "POST /transcribe HTTP/1.1\r\nHost: 127.0.0.1\r\nAuthorization: Bearer " + token + "\r\n";
  const std::vector<Case> cases{
      {"GET /" + std::string(20000, 'a') + " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n", 431},
      {"GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Big: " + std::string(20000, 'b') + "\r\n\r\n", 431},
      {"GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Nul: a\0b\r\n\r\n"s, 400},
      {head + "Content-Length: abc\r\n\r\n", 400},
      {head + "Content-Length: 5\r\nContent-Length: 6\r\n\r\nhello!", 400},
      {head + "Transfer-Encoding: chunked\r\n\r\nzz\r\n", 400},
      {head + "Transfer-Encoding: xchunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n", 400},
      {"NOT HTTP\r\n\r\n", 400},
      {"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03"s + std::string(100, '\x11'), 400},
  };
  for (const auto& [request, status] : cases) {
    for (const unsigned short port : {server.webPort(), server.transcribePort()}) {
      const auto reply = rawHttpExchange(port, request);
      EXPECT_EQ(reply.status, status) << port << " " << request.substr(0, 80);
      EXPECT_EQ((reply.headers.count("connection") ? reply.headers.at("connection") : ""), "close")
          << port << " " << request.substr(0, 80);
      EXPECT_LT(reply.body.size(), 200u);
    }
  }
  expectServing();
}

TEST_F(ServerBadInputTest, UnknownTransferEncodingIsRefusedNotReadAsTheNextRequest) {
  for (const std::string coding : {"xchunked", "identity", "gzip"}) {
    const std::string smuggled = "GET /smuggled HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
    const auto reply = rawHttpExchange(
        server.webPort(), "POST /api/devices/exchange HTTP/1.1\r\nHost: 127.0.0.1\r\nTransfer-Encoding: " +
                              coding + "\r\n\r\n" + smuggled);
    EXPECT_EQ(reply.status, 400) << coding;
    EXPECT_EQ((reply.headers.count("connection") ? reply.headers.at("connection") : ""), "close") << coding;
  }
  server.terminate();
  EXPECT_EQ(server.output().find("/smuggled"), std::string::npos) << server.output();
}

TEST_F(ServerBadInputTest, PeerValuesAreEscapedInTheLog) {
  LiveClient client;
  ASSERT_EQ(client.connect(
                server.transcribePort(),
                "/transcribe/stream?provider=gladia&mode=%1b%5b2J%0apellum-server%3a%20forged&language=en&"
                "sample_rate=16000",
                token),
            101);
  client.readAll();
  LiveClient translating;
  ASSERT_EQ(translating.connect(server.transcribePort(),
                                "/transcribe/stream?provider=gladia&mode=raw&language=en&sample_rate=16000&"
                                "translate_to=x%0d%0aforged%00",
                                token),
            101);
  translating.readAll();
  server.terminate();
  const std::string log = server.output();
  EXPECT_EQ(log.find('\x1b'), std::string::npos);
  EXPECT_EQ(log.find('\0'), std::string::npos);
  EXPECT_EQ(log.find('\r'), std::string::npos);
  EXPECT_EQ(log.find("\npellum-server: forged"), std::string::npos) << log;
  EXPECT_NE(log.find("\\x1b[2J\\npellum-server: forged"), std::string::npos) << log;
  EXPECT_NE(log.find("translate_to=x\\r\\nforged\\x00"), std::string::npos) << log;
}

TEST_F(ServerBadInputTest, DeviceListShowsNamesEscaped) {
  ASSERT_FALSE(server.addDevice("evil\x1b]0;owned\x07\nname").empty());
  const auto devices = server.listDevices();
  ASSERT_EQ(devices.size(), 2u);
  EXPECT_EQ(devices[1].rfind("2\tevil\\x1b]0;owned\\x07\\nname\tmanual\t", 0), 0u) << devices[1];
}

}  // namespace
}  // namespace pellum::server::test
