// A blocking HTTP(S) client for provider requests made on worker threads:
// every step runs asynchronously on a private I/O context, which the caller
// runs for no longer than the request's deadline.
#include "provider_http.h"

#include <utility>  // before Asio, for GCC 12

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>
#include <boost/beast/version.hpp>

#include <cctype>
#include <optional>

namespace pellum::server {
namespace {

namespace beast = boost::beast;
namespace http = beast::http;
namespace net = boost::asio;
namespace ssl = net::ssl;
using tcp = net::ip::tcp;

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lower;
}

http::request<http::string_body> requestFor(const HttpCall& call) {
  http::request<http::string_body> request{http::string_to_verb(call.method), call.url.target(), 11};
  request.set(http::field::host, call.url.hostHeader());
  request.set(http::field::user_agent, "pellum-server");
  for (const auto& [name, value] : call.headers) request.set(name, value);
  request.body() = call.body;
  request.prepare_payload();
  return request;
}

// One request's steps, each an asynchronous operation whose completion
// starts the next; the first failure ends it.
template <class Stream>
class Exchange {
 public:
  Exchange(net::io_context& io, Stream& stream, const HttpCall& call, std::size_t maxAnswerBytes)
      : stream_(stream), resolver_(io), call_(call), request_(requestFor(call)) {
    parser_.body_limit(maxAnswerBytes);
    parser_.header_limit(64 * 1024);
  }

  void start() {
    resolver_.async_resolve(call_.url.host, call_.url.port, [this](beast::error_code ec, auto endpoints) {
      if (ec) return fail(HttpFailure::Kind::unreachable, "resolve " + call_.url.host, ec);
      beast::get_lowest_layer(stream_).async_connect(endpoints, [this](beast::error_code connected, auto) {
        if (connected) return fail(HttpFailure::Kind::unreachable, "connect", connected);
        handshake();
      });
    });
  }

  // Cuts whatever is in flight; the handlers then run with errors.
  void cancel() {
    resolver_.cancel();
    beast::get_lowest_layer(stream_).close();
  }

  std::optional<std::variant<HttpAnswer, HttpFailure>> outcome;

 private:
  void handshake() {
    if constexpr (std::is_same_v<Stream, beast::tcp_stream>) {
      write();
    } else {
      stream_.async_handshake(ssl::stream_base::client, [this](beast::error_code ec) {
        if (ec) return fail(HttpFailure::Kind::unreachable, "TLS handshake", ec);
        write();
      });
    }
  }

  void write() {
    http::async_write(stream_, request_, [this](beast::error_code ec, std::size_t) {
      if (ec) return fail(HttpFailure::Kind::broken, "write", ec);
      http::async_read(stream_, buffer_, parser_, [this](beast::error_code read, std::size_t) {
        if (read) return fail(HttpFailure::Kind::broken, "read", read);
        finish();
      });
    });
  }

  void finish() {
    auto& response = parser_.get();
    HttpAnswer answer;
    answer.status = response.result_int();
    for (const auto& field : response)
      answer.headers[lowerCase(field.name_string())] = std::string(field.value());
    answer.body = std::move(response.body());
    outcome = std::move(answer);
  }

  void fail(HttpFailure::Kind kind, const std::string& what, beast::error_code ec) {
    if (!outcome) outcome = HttpFailure{kind, what + ": " + ec.message()};
  }

  Stream& stream_;
  tcp::resolver resolver_;
  const HttpCall& call_;
  http::request<http::string_body> request_;
  http::response_parser<http::string_body> parser_;
  beast::flat_buffer buffer_;
};

template <class Stream>
std::variant<HttpAnswer, HttpFailure> runExchange(net::io_context& io, Stream& stream, const HttpCall& call,
                                                  std::chrono::milliseconds deadline,
                                                  std::size_t maxAnswerBytes) {
  Exchange<Stream> exchange(io, stream, call, maxAnswerBytes);
  exchange.start();
  io.run_for(deadline);
  if (!exchange.outcome) {
    // Let the cut operations finish, so nothing refers to this frame later.
    exchange.cancel();
    io.restart();
    io.run();
    return HttpFailure{HttpFailure::Kind::timedOut,
                       "no answer within " + std::to_string(deadline.count()) + " ms"};
  }
  return std::move(*exchange.outcome);
}

}  // namespace

std::variant<HttpAnswer, HttpFailure> sendHttp(const HttpCall& call, std::chrono::milliseconds deadline,
                                               std::size_t maxAnswerBytes) {
  net::io_context io;
  if (!call.url.tls) {
    beast::tcp_stream stream(io);
    return runExchange(io, stream, call, deadline, maxAnswerBytes);
  }
  ssl::context tls(ssl::context::tls_client);
  tls.set_default_verify_paths();  // honours SSL_CERT_FILE and SSL_CERT_DIR
  tls.set_verify_mode(ssl::verify_peer);
  beast::ssl_stream<beast::tcp_stream> stream(io, tls);
  if (!SSL_ctrl(stream.native_handle(), SSL_CTRL_SET_TLSEXT_HOSTNAME, TLSEXT_NAMETYPE_host_name,
                const_cast<char*>(call.url.host.c_str())))
    return HttpFailure{HttpFailure::Kind::unreachable, "TLS: cannot set the server name"};
  stream.set_verify_callback(ssl::host_name_verification(call.url.host));
  return runExchange(io, stream, call, deadline, maxAnswerBytes);
}

}  // namespace pellum::server
