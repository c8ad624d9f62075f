#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace pellum::server::test {

struct HttpReply {
  int status = 0;                              // 0: no reply at all
  std::map<std::string, std::string> headers;  // names in lower case
  std::string body;
};

using Headers = std::vector<std::pair<std::string, std::string>>;

// One HTTP/1.1 request to 127.0.0.1:port and its whole reply.
HttpReply httpRequest(unsigned short port, const std::string& method, const std::string& target,
                      const Headers& headers = {}, const std::string& body = {});

// Writes `request` as raw bytes and reads the reply (for requests a normal
// client would not send, such as a body shorter than its length says).
HttpReply rawHttpExchange(unsigned short port, const std::string& request);

// Writes `bytes` and closes the connection without reading (a client that
// goes away in the middle of its request).
void sendAndVanish(unsigned short port, const std::string& bytes);

// A WebSocket client of the live route. Reads give up after 20 s, so a
// server that never answers fails the test instead of hanging it.
class LiveClient {
 public:
  LiveClient();
  ~LiveClient();

  // The handshake's HTTP status: 101 when the session opened.
  int connect(unsigned short port, const std::string& target, const std::string& token);
  bool sendBinary(std::string_view bytes);
  bool sendText(std::string_view text);
  // The next message, or nothing once the server closed (or the read failed).
  std::optional<std::string> read();
  // Every message until the server closes.
  std::vector<std::string> readAll();
  // The close code the server sent, once read() returned nothing.
  int closeCode() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// The data of a recorded WAV file cut into 960-byte messages (30 ms at
// 16 kHz), as the desktop client sends them.
std::vector<std::string> pcmChunks(const std::string& pcm, std::size_t size = 960);

// "type" of a live message, and its "text" or "error".
std::string messageType(const std::string& message);
std::string messageText(const std::string& message);

}  // namespace pellum::server::test
