// The transcription port: POST /transcribe answered with an event stream,
// and the WebSocket upgrade of GET /transcribe/stream handed to a live session.
#include <utility>  // before Asio, for GCC 12

#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket/rfc6455.hpp>

#include <cassert>
#include <chrono>
#include <limits>
#include <optional>
#include <thread>

#include "bearer_token.h"
#include "client_address.h"
#include "connection_entry.h"
#include "event_stream_text.h"
#include "http_refusal.h"
#include "lingering_close.h"
#include "live_request.h"
#include "query_string.h"
#include "server_log.h"
#include "strand_check.h"
#include "transcript_result.h"
#include "upload_form.h"

namespace pellum::server {
namespace {

namespace beast = boost::beast;
namespace http = beast::http;
namespace net = boost::asio;
using tcp = net::ip::tcp;
using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string fixed(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", value);
  return text;
}

// Runs an upload's decoding on a worker and returns its event-stream body.
std::string transcribeUpload(ServerContext& context, const UploadAudio& upload) {
  auto& engine = context.uploadEngine;
  const auto language =
      firstSupported(upload.languages, [&](const std::string& code) { return engine.supports(code); });
  if (!language) return errorEvent(unsupportedLanguagesText(upload.languages));
  // An upload has a worker of its own, so it may wait there for a decoder
  // as a live session does (a builder may be making one for it).
  const auto waitUntil = Clock::now() + context.limits.decoderWait;
  auto opened = engine.open(SpeechRequest{upload.languages, *language, {}});
  while (std::holds_alternative<EngineError>(opened) &&
         std::get<EngineError>(opened).kind == EngineError::Kind::busy && Clock::now() < waitUntil) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    opened = engine.open(SpeechRequest{upload.languages, *language, {}});
  }
  if (auto* error = std::get_if<EngineError>(&opened)) return errorEvent(error->description);
  auto& stream = *std::get<std::unique_ptr<SpeechStream>>(opened);
  const auto transcribed = stream.transcribeWhole(upload.samples);
  if (auto* error = std::get_if<EngineError>(&transcribed)) return errorEvent(error->description);
  return uploadEvents(finishTranscript(std::get<EngineTranscript>(transcribed), upload.mode, *language, "",
                                       context.cleanup, context.translator));
}

// One connection on the transcription port: reads a request's header,
// checks the token, then either hands the socket to a live session or reads
// the upload, has it decoded on a worker and writes the event stream. Runs
// on the connection's strand; the decode task posts its reply back to it.
// One request per connection.
class TranscribeSession : public std::enable_shared_from_this<TranscribeSession> {
 public:
  TranscribeSession(tcp::socket&& socket, ServerContext& context)
      : stream_(std::move(socket)), context_(context), decodeDeadline_(stream_.get_executor()) {}

  void run() {
    net::dispatch(stream_.get_executor(),
                  beast::bind_front_handler(&TranscribeSession::doReadHeader, shared_from_this()));
  }

 private:
  void doReadHeader() {
    header_.emplace();
    header_->header_limit(static_cast<std::uint32_t>(context_.limits.maxHeaderBytes));
    // The upload limit applies once the route is known (onReadHeader and the
    // body parser). Not boost::none: Beast 1.74 compares the length against
    // the empty optional and refuses every body.
    header_->body_limit(std::numeric_limits<std::uint64_t>::max());
    stream_.expires_after(context_.limits.requestTimeout);
    http::async_read_header(stream_, buffer_, *header_,
                            beast::bind_front_handler(&TranscribeSession::onReadHeader, shared_from_this()));
  }

  void onReadHeader(beast::error_code ec, std::size_t) {
    if (ec == http::error::end_of_stream) return doClose();
    if (auto refusal = refusalFor(ec)) {
      route_ = "request";
      return reply(refusal->status, errorEvent(refusal->reason));
    }
    if (ec) return fail(ec, "read");
    started_ = Clock::now();
    auto& request = header_->get();
    if (hasUnreadableTransferEncoding(request, header_->chunked())) {
      route_ = "request";
      return reply(http::status::bad_request, errorEvent("unsupported Transfer-Encoding"));
    }
    const std::string path = parseTarget(request.target()).path;
    route_ = std::string(request.method_string()) + " " + path;
    const bool live = path == "/transcribe/stream" && request.method() == http::verb::get;
    const bool upload = path == "/transcribe" && request.method() == http::verb::post;
    if (request.method() == http::verb::get &&
        (path == "/healthz" || path == "/readyz" || path == "/metrics"))
      return operatorRoute(path);
    if (!live && !upload) return reply(http::status::not_found, errorEvent("no such route"));

    // An address that guessed too many tokens waits, whatever it sends now.
    const auto forwardedFor = request.find("X-Forwarded-For");
    const std::string address = context_.proxies.clientOf(
        clientAddress(stream_.socket()),
        forwardedFor == request.end() ? std::nullopt
                                      : std::optional<std::string_view>(std::string_view(
                                            forwardedFor->value().data(), forwardedFor->value().size())));
    if (const auto wait = context_.guesses.retryAfter(address); wait.count() > 0) return tooManyGuesses(wait);
    const auto token = bearerToken(request[http::field::authorization]);
    const auto device = token ? context_.store.authenticate(*token) : std::nullopt;
    if (!device) {
      // A store that cannot be asked says nothing about the token: the
      // device must not take it for a sign-out, nor its address for a guesser.
      if (token && context_.store.unreachable()) {
        context_.metrics.countStoreError();
        return reply(http::status::service_unavailable, errorEvent("device store unreachable"));
      }
      if (token) context_.guesses.recordFailure(address);
      return reply(http::status::unauthorized, errorEvent("unauthorized"));
    }
    if (live) return handOver(std::to_string(device->id));
    if (header_->content_length().value_or(0) > context_.limits.maxUploadBytes) return tooLarge();
    // Refused before the body is read: a refused upload costs no memory.
    ticket_ = context_.uploads.enter();
    if (!ticket_) return reply(http::status::service_unavailable, errorEvent("server busy"));
    if (beast::iequals(request[http::field::expect], "100-continue")) return doContinue();
    return doReadBody();
  }

  // curl and other clients ask before sending a large body, and otherwise
  // wait a second for an answer that never comes.
  void doContinue() {
    continue_.emplace(http::status::continue_, 11);
    http::async_write(stream_, *continue_, [self = shared_from_this()](beast::error_code ec, std::size_t) {
      if (ec) return self->fail(ec, "write");
      self->doReadBody();
    });
  }

  void handOver(std::string deviceId) {
    auto& request = header_->get();
    if (!beast::websocket::is_upgrade(request)) {
      return reply(http::status::upgrade_required, errorEvent("this route takes a WebSocket upgrade"));
    }
    context_.metrics.countRequest(route_, 101);
    UpgradeRequest upgrade{std::string(request.target()), {}, std::move(deviceId)};
    for (const auto& field : request)
      upgrade.fields.emplace_back(std::string(field.name_string()), std::string(field.value()));
    stream_.expires_never();
    startLiveSession(stream_.release_socket(), std::move(upgrade), context_);
  }

  void doReadBody() {
    body_.emplace(std::move(*header_));
    body_->body_limit(context_.limits.maxUploadBytes);
    http::async_read(stream_, buffer_, *body_,
                     beast::bind_front_handler(&TranscribeSession::onReadBody, shared_from_this()));
  }

  void onReadBody(beast::error_code ec, std::size_t) {
    if (ec == http::error::body_limit) return tooLarge();
    if (auto refusal = refusalFor(ec)) return reply(refusal->status, errorEvent(refusal->reason));
    if (ec) return fail(ec, "read body");
    auto& request = body_->get();
    auto form = readUploadForm(request[http::field::content_type], request.body());
    if (auto* rejection = std::get_if<UploadRejection>(&form)) {
      return reply(static_cast<http::status>(rejection->status), errorEvent(rejection->description));
    }
    upload_ = std::get<UploadAudio>(std::move(form));
    request.body().clear();
    request.body().shrink_to_fit();
    audioSeconds_ = upload_.seconds;
    // The decode cannot be interrupted, but the client is not kept waiting
    // for one that is stuck.
    decodeDeadline_.expires_after(context_.limits.decodeTimeout);
    decodeDeadline_.async_wait([weak = weak_from_this()](beast::error_code waited) {
      auto self = weak.lock();
      if (waited || !self || self->response_) return;
      self->decodeSeconds_ = secondsSince(self->started_);
      self->reply(http::status::service_unavailable, errorEvent("transcription timed out"));
    });
    stream_.expires_never();  // the decode deadline stands in for the request's
    context_.uploadWorkers.post([self = shared_from_this()] {
      // Counted before the check, so a shutdown never misses a decode that
      // is about to start.
      UploadGate::Decoding decoding(self->context_.uploads);
      if (self->context_.uploads.closed()) return;
      // Logged here, not when the task is queued: once the line is out the
      // decode counts as running, so a shutdown after it reports it.
      logLine(self->route_ + " decoding audio=" + fixed(self->audioSeconds_) + "s");
      const auto decodeStart = Clock::now();
      std::string events = transcribeUpload(self->context_, self->upload_);
      const double decodeSeconds = secondsSince(decodeStart);
      net::post(self->stream_.get_executor(), [self, events = std::move(events), decodeSeconds]() mutable {
        self->decodeDeadline_.cancel();
        if (self->response_) return;  // timed out already
        self->decodeSeconds_ = decodeSeconds;
        self->reply(http::status::ok, std::move(events));
      });
    });
  }

  void tooLarge() {
    reply(
        http::status::payload_too_large,
        errorEvent("upload over " + std::to_string(context_.limits.maxUploadBytes / (1024 * 1024)) + " MiB"));
  }

  // For the load balancer and the monitoring, no token needed: liveness,
  // readiness (the store answers, not shutting down) and the metrics.
  void operatorRoute(const std::string& path) {
    constexpr const char* kText = "text/plain; charset=utf-8";
    if (path == "/healthz") return reply(http::status::ok, "ok\n", kText);
    if (path == "/readyz") {
      if (context_.uploads.closed())
        return reply(http::status::service_unavailable, "shutting down\n", kText);
      if (const auto why = context_.store.unreachable())
        return reply(http::status::service_unavailable, "device store unreachable: " + *why + "\n", kText);
      return reply(http::status::ok, "ready: device store answers, speech engines loaded\n", kText);
    }
    const ServerMetrics::Gauges gauges{context_.live.openSessions(), context_.uploads.active(),
                                       context_.workers.queued() + context_.uploadWorkers.queued()};
    reply(http::status::ok, context_.metrics.render(gauges), "text/plain; version=0.0.4; charset=utf-8");
  }

  void tooManyGuesses(std::chrono::seconds wait) {
    retryAfter_ = wait;
    reply(http::status::too_many_requests,
          errorEvent("too many failed attempts; try again in " + std::to_string(wait.count()) + " s"));
  }

  void reply(http::status status, std::string body, const char* contentType = "text/event-stream") {
    assert(onConnectionStrand(stream_.get_executor()));
    context_.metrics.countRequest(route_, static_cast<int>(status));
    response_.emplace(status, 11);
    response_->set(http::field::server, "pellum-server");
    response_->set(http::field::content_type, contentType);
    response_->set(http::field::cache_control, "no-cache");
    if (retryAfter_.count() > 0)
      response_->set(http::field::retry_after, std::to_string(retryAfter_.count()));
    response_->keep_alive(false);
    response_->body() = std::move(body);
    response_->prepare_payload();
    ticket_.reset();
    // Logged as the reply goes out: a client that has its answer may stop the
    // server before the write's completion runs.
    std::string line = route_ + " " + std::to_string(response_->result_int());
    if (audioSeconds_ > 0)
      line += " audio=" + fixed(audioSeconds_) + "s decode=" + fixed(decodeSeconds_) + "s";
    logLine(line + " total=" + fixed(secondsSince(started_)) + "s");
    stream_.expires_after(context_.limits.requestTimeout);
    http::async_write(stream_, *response_,
                      beast::bind_front_handler(&TranscribeSession::onWrite, shared_from_this()));
  }

  void onWrite(beast::error_code ec, std::size_t) {
    if (ec) return fail(ec, "write");
    doClose();
  }

  void doClose() { closeLingering(shared_from_this(), stream_, drain_); }

  void fail(beast::error_code ec, const char* what) {
    if (ec == net::error::operation_aborted || ec == beast::error::timeout) {
      if (!route_.empty()) logLine(route_ + " abandoned: " + what + " timed out");
      return;
    }
    if (!route_.empty()) logLine(route_ + " failed: " + what + ": " + ec.message());
  }

  beast::tcp_stream stream_;
  ServerContext& context_;
  beast::flat_buffer buffer_;
  std::optional<http::request_parser<http::empty_body>> header_;
  std::optional<http::request_parser<http::string_body>> body_;
  std::optional<http::response<http::string_body>> response_;
  std::optional<http::response<http::empty_body>> continue_;
  net::steady_timer decodeDeadline_;
  UploadAudio upload_;
  std::unique_ptr<UploadGate::Ticket> ticket_;
  DrainBuffer drain_{};
  std::string route_;
  std::chrono::seconds retryAfter_{0};  // set on a 429
  Clock::time_point started_ = Clock::now();
  double audioSeconds_ = 0;
  double decodeSeconds_ = 0;
};

}  // namespace

void startTranscribeSession(tcp::socket socket, ServerContext& context) {
  std::make_shared<TranscribeSession>(std::move(socket), context)->run();
}

}  // namespace pellum::server
