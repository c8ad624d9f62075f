// The web port: the account home, the pairing pages and the code exchange.
#include <utility>  // before Asio, for GCC 12

#include <boost/asio/dispatch.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include <charconv>
#include <chrono>
#include <functional>
#include <optional>

#include "callback_scheme.h"
#include "client_address.h"
#include "connection_entry.h"
#include "connection_owner.h"
#include "csrf_check.h"
#include "exchange_request.h"
#include "html_pages.h"
#include "http_refusal.h"
#include "lingering_close.h"
#include "pairing_query.h"
#include "query_string.h"
#include "server_log.h"

namespace pellum::server {
namespace {

namespace beast = boost::beast;
namespace http = beast::http;
namespace net = boost::asio;
using tcp = net::ip::tcp;
using Response = http::response<http::string_body>;

std::optional<std::string_view> header(const http::request<http::string_body>& request, http::field field) {
  const auto found = request.find(field);
  if (found == request.end()) return std::nullopt;
  return std::string_view(found->value().data(), found->value().size());
}

// For headers Beast 1.74 has no field constant for.
std::optional<std::string_view> header(const http::request<http::string_body>& request,
                                       std::string_view name) {
  const auto found = request.find(name);
  if (found == request.end()) return std::nullopt;
  return std::string_view(found->value().data(), found->value().size());
}

// Answers one request; no I/O beyond the device store, whose calls are
// short enough to make on the I/O thread.
class WebRoutes {
 public:
  // `peerIsOwner` says whether the browser's side of the connection belongs
  // to the user who runs this server; asked only for the owner's pages.
  // `peer` is the connection's other end: a trusted proxy speaks for the
  // browser behind it.
  WebRoutes(const http::request<http::string_body>& request, ServerContext& context,
            std::function<bool()> peerIsOwner, const std::string& peer)
      : request_(request),
        context_(context),
        target_(parseTarget(request.target())),
        peerIsOwner_(std::move(peerIsOwner)),
        proxied_(context.proxies.trusts(peer)),
        clientAddress_(context.proxies.clientOf(peer, header(request, "X-Forwarded-For"))) {}

  Response answer() {
    // Behind a trusted proxy the Host is the public name the proxy answered
    // to, and who may open the owner's pages is for its sign-in to decide.
    if (!proxied_ && !isDirectHost(header(request_, http::field::host).value_or(""))) {
      return html(http::status::misdirected_request,
                  messagePage("Wrong address", "Open this server by its IP address or as localhost."));
    }
    const auto method = request_.method();
    const std::string& path = target_.path;
    // The home page, approving and revoking are the server owner's: another
    // user of this machine must not pair a device against their account (the
    // cross-site checks stop web sites, not local programs). The exchange is
    // open: it needs a code only an approval makes, and the verifier.
    const bool ownersPage = path == "/" || path == "/devices/pair" || path == "/devices/revoke";
    if (ownersPage && !proxied_ && !peerIsOwner_()) {
      return html(http::status::forbidden,
                  messagePage("Not your server",
                              "Only the user who runs this Pellum server can see its devices or "
                              "approve new ones. Open this page in that user's session."));
    }
    if (method == http::verb::get && path == "/")
      return html(http::status::ok, homePage(context_.store.devices(), context_.formToken));
    if (method == http::verb::get && path == "/devices/pair") return pairingPageFor(target_.query);
    if (method == http::verb::post && path == "/devices/pair") return approve();
    if (method == http::verb::post && path == "/devices/revoke") return revoke();
    if (method == http::verb::post && path == "/api/devices/exchange") return exchange();
    return html(http::status::not_found, messagePage("Not found", "There is no page at this address."));
  }

 private:
  Response pairingPageFor(const QueryItems& items) {
    auto query = parsePairingQuery(items);
    if (auto* error = std::get_if<PairingQueryError>(&query)) {
      return html(http::status::bad_request, messagePage("Cannot pair this device", error->description));
    }
    return html(http::status::ok, pairingPage(std::get<PairingQuery>(query), context_.formToken));
  }

  std::optional<Response> refuseForeignPost(const QueryItems& form) {
    BrowserPost post{header(request_, http::field::origin), std::nullopt,
                     header(request_, http::field::host).value_or(""), item(form, "csrf")};
    // A proxy that ends TLS says so; the browser's Origin then says https.
    if (proxied_ && header(request_, "X-Forwarded-Proto") == "https") post.scheme = "https";
    const auto site = request_.find("Sec-Fetch-Site");
    if (site != request_.end()) post.fetchSite = std::string_view(site->value().data(), site->value().size());
    if (isSameSitePost(post, context_.formToken)) return std::nullopt;
    return html(http::status::forbidden,
                messagePage("Refused", "This form did not come from this server's own page."));
  }

  Response approve() {
    const QueryItems form = parseQuery(request_.body());
    if (auto refusal = refuseForeignPost(form)) return *refusal;
    auto query = parsePairingQuery(form);
    if (auto* error = std::get_if<PairingQueryError>(&query)) {
      return html(http::status::bad_request, messagePage("Cannot pair this device", error->description));
    }
    const auto& pairing = std::get<PairingQuery>(query);
    auto code =
        context_.store.createPairingCode({pairing.codeChallenge, pairing.deviceName, pairing.platform});
    if (auto* error = std::get_if<StoreError>(&code)) {
      context_.metrics.countStoreError();
      return html(http::status::internal_server_error,
                  messagePage("Cannot pair this device", error->description));
    }
    Response response = html(http::status::see_other,
                             messagePage("Device approved", "You can return to " + pairing.deviceName + "."));
    response.set(http::field::location,
                 pairingRedirect(pairing.urlScheme, std::get<std::string>(code), pairing.state));
    return response;
  }

  Response revoke() {
    const QueryItems form = parseQuery(request_.body());
    if (auto refusal = refuseForeignPost(form)) return *refusal;
    const std::string_view idText = item(form, "id").value_or("");
    std::int64_t id = 0;
    const auto [end, ec] = std::from_chars(idText.data(), idText.data() + idText.size(), id);
    if (ec != std::errc{} || end != idText.data() + idText.size() || !context_.store.revoke(id)) {
      return html(http::status::not_found, messagePage("Not found", "There is no such device."));
    }
    Response response =
        html(http::status::see_other, messagePage("Device revoked", "The device was revoked."));
    response.set(http::field::location, "/");
    return response;
  }

  Response exchange() {
    // Codes are single-use and expire, but an address that keeps guessing
    // them is slowed down all the same.
    if (const auto wait = context_.guesses.retryAfter(clientAddress_); wait.count() > 0) {
      Response response = json(
          http::status::too_many_requests,
          exchangeErrorJson("too many failed attempts; try again in " + std::to_string(wait.count()) + " s"));
      response.set(http::field::retry_after, std::to_string(wait.count()));
      return response;
    }
    auto parsed = parseExchangeRequest(request_.body());
    if (auto* error = std::get_if<ExchangeRequestError>(&parsed))
      return json(http::status::bad_request, exchangeErrorJson(error->description));
    const auto& request = std::get<ExchangeRequest>(parsed);
    auto token = context_.store.exchange(request.code, request.codeVerifier, request.fingerprint);
    if (auto* error = std::get_if<ExchangeError>(&token)) {
      if (*error == ExchangeError::storeFailed) {
        context_.metrics.countStoreError();
      } else {
        context_.guesses.recordFailure(clientAddress_);
      }
      const auto status = *error == ExchangeError::storeFailed ? http::status::internal_server_error
                                                               : http::status::bad_request;
      return json(status, exchangeErrorJson(describe(*error)));
    }
    return json(http::status::ok, exchangeTokenJson(std::get<std::string>(token)));
  }

  Response html(http::status status, std::string body) const {
    Response response = make(status, std::move(body));
    response.set(http::field::content_type, "text/html; charset=utf-8");
    // The approve button must not be clickable inside another site's frame.
    response.set("X-Frame-Options", "DENY");
    response.set("Content-Security-Policy",
                 "default-src 'none'; style-src 'unsafe-inline'; form-action 'self'; frame-ancestors 'none'");
    return response;
  }

  Response json(http::status status, std::string body) const {
    Response response = make(status, std::move(body));
    response.set(http::field::content_type, "application/json");
    return response;
  }

  Response make(http::status status, std::string body) const {
    Response response{status, request_.version()};
    response.set(http::field::server, "pellum-server");
    response.set(http::field::cache_control, "no-store");
    response.keep_alive(request_.keep_alive());
    response.body() = std::move(body);
    return response;
  }

  const http::request<http::string_body>& request_;
  ServerContext& context_;
  RequestTarget target_;
  std::function<bool()> peerIsOwner_;
  bool proxied_;
  std::string clientAddress_;
};

TcpEnd tcpEnd(const tcp::endpoint& endpoint) {
  TcpEnd end;
  end.port = endpoint.port();
  auto address = endpoint.address();
  // A dual-stack listener sees IPv4 peers as ::ffff:a.b.c.d; their own
  // sockets are IPv4 ones.
  if (address.is_v6() && address.to_v6().is_v4_mapped()) {
    address = net::ip::make_address_v4(net::ip::v4_mapped, address.to_v6());
  }
  if (address.is_v4()) {
    const auto bytes = address.to_v4().to_bytes();
    std::copy(bytes.begin(), bytes.end(), end.address.begin());
  } else {
    end.v6 = true;
    const auto bytes = address.to_v6().to_bytes();
    std::copy(bytes.begin(), bytes.end(), end.address.begin());
  }
  return end;
}

// One keep-alive connection on the web port, on its own strand: read a
// request (small bodies only), answer it from WebRoutes, repeat.
class WebSession : public std::enable_shared_from_this<WebSession> {
 public:
  WebSession(tcp::socket&& socket, ServerContext& context) : stream_(std::move(socket)), context_(context) {}

  void run() {
    net::dispatch(stream_.get_executor(), beast::bind_front_handler(&WebSession::doRead, shared_from_this()));
  }

 private:
  void doRead() {
    parser_.emplace();
    parser_->header_limit(static_cast<std::uint32_t>(context_.limits.maxHeaderBytes));
    parser_->body_limit(context_.limits.maxWebBodyBytes);
    stream_.expires_after(context_.limits.requestTimeout);
    http::async_read(stream_, buffer_, *parser_,
                     beast::bind_front_handler(&WebSession::onRead, shared_from_this()));
  }

  void onRead(beast::error_code ec, std::size_t) {
    if (ec == http::error::end_of_stream) return doClose();
    if (auto refusal = refusalFor(ec)) return refuse(*refusal);
    if (ec) return fail(ec, "read");
    const auto& request = parser_->get();
    if (hasUnreadableTransferEncoding(request, parser_->chunked())) {
      return refuse({http::status::bad_request, "unsupported Transfer-Encoding"});
    }
    const auto start = std::chrono::steady_clock::now();
    response_.emplace(
        WebRoutes(
            request, context_, [this] { return peerIsOwner(); }, clientAddress(stream_.socket()))
            .answer());
    response_->prepare_payload();
    context_.metrics.countRequest(routeLabel(request.method_string(), parseTarget(request.target()).path),
                                  response_->result_int());
    const double ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    char figures[32];
    std::snprintf(figures, sizeof figures, " %.1fms", ms);
    logLine("web " + std::string(request.method_string()) + " " + parseTarget(request.target()).path + " " +
            std::to_string(response_->result_int()) + figures);
    doWrite();
  }

  // Looked up once per connection, when a page first needs it.
  bool peerIsOwner() {
    if (!peerIsOwner_) {
      beast::error_code local, remote;
      const auto server = stream_.socket().local_endpoint(local);
      const auto peer = stream_.socket().remote_endpoint(remote);
      const auto owner = (local || remote) ? std::nullopt : localPeerOwner(tcpEnd(server), tcpEnd(peer));
      peerIsOwner_ = owner && *owner == serverUser();
    }
    return *peerIsOwner_;
  }

  // A request that cannot be read gets its status and a close: whatever
  // follows in the stream is not trusted to start a request.
  void refuse(const HttpRefusal& refusal) {
    response_.emplace(refusal.status, 11);
    response_->set(http::field::server, "pellum-server");
    response_->set(http::field::content_type, "application/json");
    response_->body() = exchangeErrorJson(refusal.reason);
    response_->keep_alive(false);
    response_->prepare_payload();
    logLine("web request " + std::to_string(response_->result_int()) + " " + refusal.reason);
    doWrite();
  }

  void doWrite() {
    http::async_write(stream_, *response_,
                      beast::bind_front_handler(&WebSession::onWrite, shared_from_this()));
  }

  void onWrite(beast::error_code ec, std::size_t) {
    if (ec) return fail(ec, "write");
    if (!response_->keep_alive()) return doClose();
    doRead();
  }

  void doClose() { closeLingering(shared_from_this(), stream_, drain_); }

  void fail(beast::error_code ec, const char* what) {
    if (ec == net::error::operation_aborted || ec == beast::error::timeout ||
        ec == net::error::connection_reset)
      return;
    logLine(std::string("web connection failed: ") + what + ": " + ec.message());
  }

  beast::tcp_stream stream_;
  ServerContext& context_;
  beast::flat_buffer buffer_;
  std::optional<http::request_parser<http::string_body>> parser_;
  std::optional<Response> response_;
  std::optional<bool> peerIsOwner_;
  DrainBuffer drain_{};
};

}  // namespace

void startWebSession(tcp::socket socket, ServerContext& context) {
  std::make_shared<WebSession>(std::move(socket), context)->run();
}

}  // namespace pellum::server
