#include "route_client.h"

#include <utility>  // before Asio, for GCC 12

#include <sys/socket.h>
#include <sys/time.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <nlohmann/json.hpp>

#include <cctype>

namespace pellum::server::test {
namespace {

namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
namespace net = boost::asio;
using tcp = net::ip::tcp;

void limitReadTime(tcp::socket& socket) {
  timeval timeout{20, 0};
  setsockopt(socket.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
}

HttpReply toReply(const http::response<http::string_body>& response) {
  HttpReply reply;
  reply.status = response.result_int();
  for (const auto& field : response) {
    std::string name(field.name_string());
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    reply.headers[name] = std::string(field.value());
  }
  reply.body = response.body();
  return reply;
}

HttpReply readReply(tcp::socket& socket) {
  beast::flat_buffer buffer;
  http::response_parser<http::string_body> parser;
  parser.body_limit(64 * 1024 * 1024);
  beast::error_code ec;
  http::read(socket, buffer, parser, ec);
  if (ec && !parser.is_header_done()) return {};
  return toReply(parser.get());
}

}  // namespace

HttpReply httpRequest(unsigned short port, const std::string& method, const std::string& target,
                      const Headers& headers, const std::string& body) {
  net::io_context io;
  tcp::socket socket(io);
  beast::error_code ec;
  socket.connect(tcp::endpoint(net::ip::make_address("127.0.0.1"), port), ec);
  if (ec) return {};
  limitReadTime(socket);
  http::request<http::string_body> request{http::string_to_verb(method), target, 11};
  request.set(http::field::host, "127.0.0.1:" + std::to_string(port));
  for (const auto& [name, value] : headers) request.set(name, value);
  request.body() = body;
  request.prepare_payload();
  http::write(socket, request, ec);
  if (ec) return {};
  return readReply(socket);
}

HttpReply rawHttpExchange(unsigned short port, const std::string& request) {
  net::io_context io;
  tcp::socket socket(io);
  beast::error_code ec;
  socket.connect(tcp::endpoint(net::ip::make_address("127.0.0.1"), port), ec);
  if (ec) return {};
  limitReadTime(socket);
  net::write(socket, net::buffer(request), ec);
  if (ec) return {};
  return readReply(socket);
}

void sendAndVanish(unsigned short port, const std::string& bytes) {
  net::io_context io;
  tcp::socket socket(io);
  beast::error_code ec;
  socket.connect(tcp::endpoint(net::ip::make_address("127.0.0.1"), port), ec);
  if (!ec) net::write(socket, net::buffer(bytes), ec);
}

struct LiveClient::Impl {
  net::io_context io;
  websocket::stream<tcp::socket> ws{io};
  beast::flat_buffer buffer;
  int closeCode = 0;
};

LiveClient::LiveClient() : impl_(std::make_unique<Impl>()) {}
LiveClient::~LiveClient() = default;

int LiveClient::connect(unsigned short port, const std::string& target, const std::string& token) {
  beast::error_code ec;
  impl_->ws.next_layer().connect(tcp::endpoint(net::ip::make_address("127.0.0.1"), port), ec);
  if (ec) return 0;
  impl_->ws.next_layer().set_option(tcp::no_delay(true), ec);  // the stop must not wait behind the audio
  limitReadTime(impl_->ws.next_layer());
  impl_->ws.set_option(websocket::stream_base::decorator([token](websocket::request_type& request) {
    if (!token.empty()) request.set(http::field::authorization, "Bearer " + token);
  }));
  // The asynchronous handshake hands back a declined response too (the
  // synchronous one in Boost 1.74 drops it), so a 401 can be seen.
  websocket::response_type response;
  impl_->ws.async_handshake(response, "127.0.0.1:" + std::to_string(port), target, [](beast::error_code) {});
  impl_->io.run();
  impl_->io.restart();
  return response.result_int();
}

bool LiveClient::sendBinary(std::string_view bytes) {
  beast::error_code ec;
  impl_->ws.binary(true);
  impl_->ws.write(net::buffer(bytes.data(), bytes.size()), ec);
  return !ec;
}

bool LiveClient::sendText(std::string_view text) {
  beast::error_code ec;
  impl_->ws.text(true);
  impl_->ws.write(net::buffer(text.data(), text.size()), ec);
  return !ec;
}

std::optional<std::string> LiveClient::read() {
  beast::error_code ec;
  impl_->buffer.consume(impl_->buffer.size());
  impl_->ws.read(impl_->buffer, ec);
  if (ec) {
    impl_->closeCode = impl_->ws.reason().code;
    return std::nullopt;
  }
  return beast::buffers_to_string(impl_->buffer.data());
}

std::vector<std::string> LiveClient::readAll() {
  std::vector<std::string> messages;
  while (auto message = read()) messages.push_back(std::move(*message));
  return messages;
}

int LiveClient::closeCode() const { return impl_->closeCode; }

std::vector<std::string> pcmChunks(const std::string& pcm, std::size_t size) {
  std::vector<std::string> chunks;
  for (std::size_t at = 0; at < pcm.size(); at += size) chunks.push_back(pcm.substr(at, size));
  return chunks;
}

std::string messageType(const std::string& message) {
  const auto json = nlohmann::json::parse(message, nullptr, false);
  if (!json.is_object() || !json.contains("type") || !json["type"].is_string()) return "";
  return json["type"].get<std::string>();
}

std::string messageText(const std::string& message) {
  const auto json = nlohmann::json::parse(message, nullptr, false);
  if (!json.is_object()) return "";
  for (const char* key : {"text", "error"}) {
    if (json.contains(key) && json[key].is_string()) return json[key].get<std::string>();
  }
  return "";
}

}  // namespace pellum::server::test
