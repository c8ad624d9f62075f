#pragma once

#include <chrono>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "provider_url.h"

namespace pellum::server {

struct HttpCall {
  std::string method = "POST";
  ProviderUrl url;
  std::vector<std::pair<std::string, std::string>> headers;  // besides Host, User-Agent, Content-Length
  std::string body;
};

struct HttpAnswer {
  int status = 0;
  std::map<std::string, std::string> headers;  // names in lower case
  std::string body;
};

struct HttpFailure {
  enum class Kind { unreachable, timedOut, broken };
  Kind kind = Kind::broken;
  std::string description;  // "connect: Connection refused", "no answer within 1500 ms", ...
};

// Sends one request and reads the whole answer, over TLS for https (the
// system's certificate store, the host name checked). Blocks the calling
// thread, a worker's, for at most `deadline` in all (name lookup, connect,
// handshake, request and answer), and allows an answer of at most
// `maxAnswerBytes`. Thread-safe: each call has its own connection.
std::variant<HttpAnswer, HttpFailure> sendHttp(const HttpCall& call, std::chrono::milliseconds deadline,
                                               std::size_t maxAnswerBytes = 4 * 1024 * 1024);

}  // namespace pellum::server
