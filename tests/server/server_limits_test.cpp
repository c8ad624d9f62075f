// Deadlines and bounds of a real server over loopback: slow readers, results
// that take too long, stuck decodes.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "audio/wav.h"
#include "recorded_speech.h"
#include "route_client.h"
#include "server_process.h"
#include "transcription/multipart_body.h"

namespace pellum::server::test {
namespace {

constexpr const char* kRawTarget =
    "/transcribe/stream?provider=gladia&mode=raw&language=en&sample_rate=16000";

// Every recording's 16 kHz PCM, end to end, repeated to at least `seconds`.
std::string speechPcm(double seconds) {
  std::string all;
  for (const auto& utterance : recordedSpeech()) {
    all += std::string(std::get<WavInfo>(parseWav(readFile(utterance.wavPath))).data);
  }
  std::string out;
  while (out.size() < static_cast<std::size_t>(seconds * 32000)) out += all;
  return out;
}

// Waits, a bounded while (`attempts` times 10 ms), for `text` to appear in
// the server's log.
bool logShows(const ServerProcess& server, const std::string& text, int attempts = 2000) {
  for (int attempt = 0; attempt < attempts; ++attempt) {
    if (server.output().find(text) != std::string::npos) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

// A WebSocket client made of a bare socket, for a peer no real client is:
// one that completes the handshake, sends, and then does not read.
class ScriptedSocket {
 public:
  explicit ScriptedSocket(int receiveBuffer = 0) : fd_(socket(AF_INET, SOCK_STREAM, 0)) {
    if (receiveBuffer > 0) setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    timeval timeout{20, 0};
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
  }
  ~ScriptedSocket() { close(fd_); }

  bool connectTo(unsigned short port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  }

  bool sendAll(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t n = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (n <= 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
  }

  // Sends what the socket takes now, without waiting: the count, or -1 with
  // errno set.
  ssize_t sendSome(std::string_view bytes) {
    return ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  }

  // Reads up to the end of the HTTP response head; its status line.
  std::string readHead() {
    std::string head;
    char c = 0;
    while (head.find("\r\n\r\n") == std::string::npos && recv(fd_, &c, 1, 0) == 1) head.push_back(c);
    return head.substr(0, head.find("\r\n"));
  }

  // Everything until the server closes (or 20 s pass).
  std::string readToEnd() {
    std::string all;
    char buffer[65536];
    ssize_t n = 0;
    while ((n = recv(fd_, buffer, sizeof buffer, 0)) > 0) all.append(buffer, static_cast<std::size_t>(n));
    return all;
  }

  // A masked client frame.
  static std::string frame(int opcode, std::string_view payload) {
    std::string out(1, static_cast<char>(0x80 | opcode));
    const std::size_t n = payload.size();
    if (n < 126) {
      out.push_back(static_cast<char>(0x80 | n));
    } else {
      out.push_back(static_cast<char>(0x80 | 126));
      out.push_back(static_cast<char>(n >> 8));
      out.push_back(static_cast<char>(n & 0xFF));
    }
    const char mask[4] = {0x12, 0x34, 0x56, 0x78};
    out.append(mask, 4);
    for (std::size_t i = 0; i < n; ++i) out.push_back(static_cast<char>(payload[i] ^ mask[i % 4]));
    return out;
  }

 private:
  int fd_;
};

struct ServerFrame {
  int opcode = 0;
  std::string payload;
};

// The unmasked frames a server sent, in order.
std::vector<ServerFrame> serverFrames(std::string_view bytes) {
  std::vector<ServerFrame> frames;
  while (bytes.size() >= 2) {
    const int opcode = static_cast<unsigned char>(bytes[0]) & 0x0F;
    std::size_t length = static_cast<unsigned char>(bytes[1]) & 0x7F;
    std::size_t at = 2;
    if (length == 126) {
      if (bytes.size() < 4) break;
      length = (static_cast<std::size_t>(static_cast<unsigned char>(bytes[2])) << 8) |
               static_cast<unsigned char>(bytes[3]);
      at = 4;
    } else if (length == 127) {
      if (bytes.size() < 10) break;
      length = 0;
      for (int i = 2; i < 10; ++i) length = (length << 8) | static_cast<unsigned char>(bytes[i]);
      at = 10;
    }
    if (bytes.size() < at + length) break;
    frames.push_back({opcode, std::string(bytes.substr(at, length))});
    bytes.remove_prefix(at + length);
  }
  return frames;
}

std::string upgradeRequest(const std::string& target, const std::string& token) {
  return "GET " + target +
         " HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
         "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n"
         "Authorization: Bearer " +
         token + "\r\n\r\n";
}

class ServerLimitsTest : public ::testing::Test {
 protected:
  // Starts an upload of `seconds` of speech on a thread of its own.
  std::thread uploadInBackground(double seconds, HttpReply& reply) {
    return std::thread([this, seconds, &reply] {
      reply = httpRequest(server->transcribePort(), "POST", "/transcribe",
                          {{"Content-Type", multipartContentType("b")}, {"Authorization", "Bearer " + token}},
                          buildMultipartBody("b", TranscriptionMode::raw, "en", "audio/wav",
                                             wavData(speechPcm(seconds), 16000)));
    });
  }

  // Waits, a bounded while, for `count` uploads to be decoding.
  bool uploadsDecoding(std::size_t count) {
    for (int attempt = 0; attempt < 3000; ++attempt) {
      const std::string log = server->output();
      std::size_t seen = 0;
      for (auto at = log.find(" decoding audio="); at != std::string::npos;
           at = log.find(" decoding audio=", at + 1))
        ++seen;
      if (seen >= count) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }

  void start(std::vector<std::string> args = {}) {
    server = std::make_unique<ServerProcess>(std::move(args));
    ASSERT_TRUE(server->started()) << server->output();
    token = server->addDevice("Limits test");
    ASSERT_FALSE(token.empty());
  }

  std::unique_ptr<ServerProcess> server;
  std::string token;
};

TEST_F(ServerLimitsTest, ScriptedClientThatStopsReadingIsClosedAsTooSlow) {
  // Small bounds and the smallest socket buffers on both sides, so that
  // half a minute or so of audio fills them.
  start({"--max-queued-messages", "2", "--max-queued-bytes", "1024", "--live-send-buffer", "1"});
  ScriptedSocket client(1);  // the kernel rounds both buffers up to its least
  ASSERT_TRUE(client.connectTo(server->transcribePort()));
  ASSERT_TRUE(client.sendAll(upgradeRequest(kRawTarget, token)));
  ASSERT_EQ(client.readHead(), "HTTP/1.1 101 Switching Protocols");
  // Partial transcripts of a long utterance grow with it, so their bytes
  // soon outrun any buffer; the client reads none of them. It sends without
  // blocking, so it notices the cut-off as soon as the log shows it.
  const std::string pcm = speechPcm(300);
  std::string pending;
  std::size_t at = 0;
  while (server->output().find("client too slow") == std::string::npos) {
    if (pending.empty() && at < pcm.size()) {
      pending = ScriptedSocket::frame(2, std::string_view(pcm).substr(at, 32000));
      at += 32000;
    }
    if (pending.empty()) break;  // all sent
    const ssize_t sent = client.sendSome(pending);
    if (sent > 0) {
      pending.erase(0, static_cast<std::size_t>(sent));
    } else if (sent < 0 && errno != EAGAIN && errno != EWOULDBLOCK) {
      break;
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }
  ASSERT_TRUE(logShows(*server, "closed: client too slow (", 9000)) << server->output();
  // Reading again, the client finds the messages sent before the cut-off and
  // then the close frame that says why.
  const auto frames = serverFrames(client.readToEnd());
  ASSERT_FALSE(frames.empty());
  EXPECT_EQ(frames.back().opcode, 8);
  ASSERT_GE(frames.back().payload.size(), 2u);
  EXPECT_EQ((static_cast<unsigned char>(frames.back().payload[0]) << 8) |
                static_cast<unsigned char>(frames.back().payload[1]),
            1008);
  EXPECT_EQ(frames.back().payload.substr(2), "client too slow");
}

TEST_F(ServerLimitsTest, FinalResultLaterThanItsDeadlineEndsTheSession) {
  start({"--result-timeout-ms", "200"});
  LiveClient client;
  ASSERT_EQ(client.connect(server->transcribePort(), kRawTarget, token), 101);
  // A minute of speech sent at once: its decoding is still queued at stop.
  for (const auto& chunk : pcmChunks(speechPcm(60), 32000)) client.sendBinary(chunk);
  client.sendText(R"({"type":"stop"})");
  const auto messages = client.readAll();
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ(messages.back(), R"j({"type":"error","error":"transcription timed out"})j");
  EXPECT_EQ(client.closeCode(), 1000);
  EXPECT_TRUE(logShows(*server, "error: transcription timed out"));
}

TEST_F(ServerLimitsTest, UploadDecodeLaterThanItsDeadlineIsReported) {
  start({"--decode-timeout-ms", "100"});
  const std::string wav = wavData(speechPcm(60), 16000);
  const auto reply =
      httpRequest(server->transcribePort(), "POST", "/transcribe",
                  {{"Content-Type", multipartContentType("b")}, {"Authorization", "Bearer " + token}},
                  buildMultipartBody("b", TranscriptionMode::raw, "en", "audio/wav", wav));
  EXPECT_EQ(reply.status, 503);
  EXPECT_EQ(reply.body, "event: error\ndata: transcription timed out\n\n");
}

TEST_F(ServerLimitsTest, ShutdownAbandonsAnUploadStillDecoding) {
  start();
  const std::string wav = wavData(speechPcm(300), 16000);
  HttpReply reply;
  std::thread uploader([&] {
    reply = httpRequest(server->transcribePort(), "POST", "/transcribe",
                        {{"Content-Type", multipartContentType("b")}, {"Authorization", "Bearer " + token}},
                        buildMultipartBody("b", TranscriptionMode::raw, "en", "audio/wav", wav));
  });
  if (!logShows(*server, "POST /transcribe decoding audio=")) {
    server->terminate();
    uploader.join();
    FAIL() << "the upload never started decoding: " << server->output();
  }
  const auto signalled = std::chrono::steady_clock::now();
  EXPECT_EQ(server->terminate(), 0);
  // A figure for the record, not a verdict.
  std::printf("shutdown with an upload decoding took %.2f s\n",
              std::chrono::duration<double>(std::chrono::steady_clock::now() - signalled).count());
  uploader.join();
  EXPECT_EQ(reply.status, 0);  // cut, with no answer
  const std::string log = server->output();
  EXPECT_NE(log.find("pellum-server: stopped, abandoning 1 upload decode in progress"), std::string::npos)
      << log;
  EXPECT_EQ(log.find("POST /transcribe 200"), std::string::npos) << log;
}

TEST_F(ServerLimitsTest, LiveSessionIsNotQueuedBehindLongUploads) {
  start();
  HttpReply first, second;
  auto firstUpload = uploadInBackground(300, first);
  auto secondUpload = uploadInBackground(300, second);
  if (!uploadsDecoding(2)) {
    server->terminate();
    firstUpload.join();
    secondUpload.join();
    FAIL() << "the uploads never started decoding: " << server->output();
  }
  LiveClient client;
  EXPECT_EQ(client.connect(server->transcribePort(), kRawTarget, token), 101);
  const std::string file = readFile(recordedSpeech().at(1).wavPath);
  const std::string pcm(std::get<WavInfo>(parseWav(file)).data);
  for (const auto& chunk : pcmChunks(pcm)) client.sendBinary(chunk);
  client.sendText(R"({"type":"stop"})");
  const auto messages = client.readAll();
  EXPECT_FALSE(messages.empty());
  if (!messages.empty()) {
    EXPECT_EQ(messages.back(), R"({"type":"done"})");
  }
  // Both uploads were still decoding when the live session ended.
  EXPECT_EQ(server->output().find("POST /transcribe 200"), std::string::npos) << server->output();
  server->terminate();
  firstUpload.join();
  secondUpload.join();
}

TEST_F(ServerLimitsTest, UploadOverTheCapIsServerBusy) {
  start({"--max-uploads", "1"});
  HttpReply first;
  auto firstUpload = uploadInBackground(300, first);
  if (!uploadsDecoding(1)) {
    server->terminate();
    firstUpload.join();
    FAIL() << "the upload never started decoding: " << server->output();
  }
  const auto refused = httpRequest(
      server->transcribePort(), "POST", "/transcribe",
      {{"Content-Type", multipartContentType("b")}, {"Authorization", "Bearer " + token}},
      buildMultipartBody("b", TranscriptionMode::raw, "en", "audio/wav", wavData(speechPcm(1), 16000)));
  EXPECT_EQ(refused.status, 503);
  EXPECT_EQ(refused.body, "event: error\ndata: server busy\n\n");
  server->terminate();
  firstUpload.join();
}

TEST_F(ServerLimitsTest, AcceptThatRunsOutOfDescriptorsBacksOffAndRecovers) {
  start();
  const std::string pid = std::to_string(server->pid());
  std::size_t open = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/" + pid + "/fd"))
    ++open;
  ASSERT_EQ(
      runProgram("/usr/bin/prlimit", {"--pid", pid, "--nofile=" + std::to_string(open + 4) + ":"}).status, 0);
  {
    std::vector<std::unique_ptr<ScriptedSocket>> idle;
    for (int i = 0; i < 40; ++i) {
      idle.push_back(std::make_unique<ScriptedSocket>());
      ASSERT_TRUE(idle.back()->connectTo(server->webPort()));
    }
    ASSERT_TRUE(logShows(*server, "accept failed: Too many open files")) << server->output();
    // Long enough for a listener that retries at once to write thousands
    // of lines.
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  }
  HttpReply reply;
  for (int attempt = 0; attempt < 10 && reply.status == 0; ++attempt)
    reply = httpRequest(server->webPort(), "GET", "/nowhere");
  EXPECT_EQ(reply.status, 404);
  const std::string log = server->output();
  std::size_t failures = 0;
  for (auto at = log.find("accept failed"); at != std::string::npos; at = log.find("accept failed", at + 1))
    ++failures;
  EXPECT_LE(failures, 5u) << log.substr(0, 2000);
}

}  // namespace
}  // namespace pellum::server::test
