#include "gladia_engine.h"

#include <utility>  // before Asio, for GCC 12

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/ssl.hpp>
#include <boost/beast/websocket.hpp>
#include <boost/beast/websocket/ssl.hpp>

#include <condition_variable>
#include <cstring>
#include <deque>
#include <future>
#include <map>
#include <mutex>
#include <thread>

#include "gladia_wire.h"
#include "openai_wire.h"
#include "provider_http.h"
#include "transcription/gladia_languages.h"

namespace pellum::server {

namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
namespace net = boost::asio;
namespace ssl = net::ssl;
using tcp = net::ip::tcp;
using Clock = std::chrono::steady_clock;

namespace {

// Gladia recommends frames of about 100 ms: 1600 samples of 16-bit PCM.
constexpr std::size_t kFrameBytes = 3200;
// A frame is far below this; a message from Gladia (a long post-processed
// transcript) stays below it too.
constexpr std::size_t kMaxMessageBytes = 4 * 1024 * 1024;

// What the provider's socket has told the stream so far. Written on the
// engine's socket thread, read by the stream on its worker; guarded by
// `mutex`, with `changed` signalled at every change.
struct RelayState {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> order;  // utterance ids, as they first appeared
  std::map<std::string, std::string> finals;
  std::map<std::string, std::string> translations;
  std::string partialId;
  std::string partialText;
  bool done = false;
  std::string doneText;  // the post-processed full transcript
  bool closedNormally = false;
  std::optional<std::string> failure;

  void note(const std::string& id) {
    if (!id.empty() && std::find(order.begin(), order.end(), id) == order.end()) order.push_back(id);
  }

  // On the socket thread.
  void apply(const GladiaEvent& event) {
    std::lock_guard lock(mutex);
    switch (event.kind) {
      case GladiaEvent::Kind::ignored:
        return;
      case GladiaEvent::Kind::partial:
        note(event.utteranceId);
        partialId = event.utteranceId;
        partialText = event.text;
        break;
      case GladiaEvent::Kind::final:
        note(event.utteranceId);
        finals[event.utteranceId] = event.text;
        if (partialId == event.utteranceId) partialText.clear();
        break;
      case GladiaEvent::Kind::translation:
        translations[event.utteranceId] = event.text;
        break;
      case GladiaEvent::Kind::done:
        done = true;
        doneText = event.text;
        break;
      case GladiaEvent::Kind::failed:
        if (!failure) failure = event.text;
        break;
    }
    changed.notify_all();
  }

  void fail(std::string description) {
    std::lock_guard lock(mutex);
    if (!failure && !done) failure = std::move(description);
    changed.notify_all();
  }

  // Under `mutex`: the finals in utterance order, joined.
  std::string joined(const std::map<std::string, std::string>& texts) const {
    std::string text;
    for (const auto& id : order) {
      const auto found = texts.find(id);
      if (found == texts.end() || found->second.empty()) continue;
      text += (text.empty() ? "" : " ") + found->second;
    }
    return text;
  }
};

// The stream's handle on its provider socket: both calls post to the
// socket thread and return at once.
class RelaySocket {
 public:
  virtual ~RelaySocket() = default;
  virtual void send(std::string payload, bool binary) = 0;
  // Ends the session: a close handshake, cut if it does not end soon.
  virtual void close() = 0;
};

// One provider WebSocket, plain (ws://, as local test peers serve) or over
// TLS. Everything runs on the engine's socket thread.
template <class NextLayer>
class GladiaSocket : public RelaySocket, public std::enable_shared_from_this<GladiaSocket<NextLayer>> {
 public:
  template <class... Args>
  GladiaSocket(net::io_context& io, std::shared_ptr<RelayState> state, Args&&... args)
      : io_(io),
        ws_(io, std::forward<Args>(args)...),
        resolver_(io),
        closeDeadline_(io),
        state_(std::move(state)) {}

  void connect(ProviderUrl url, std::chrono::milliseconds deadline,
               std::promise<std::optional<std::string>> ready) {
    url_ = std::move(url);
    ready_ = std::move(ready);
    auto timeouts = websocket::stream_base::timeout::suggested(beast::role_type::client);
    timeouts.handshake_timeout = deadline;
    ws_.set_option(timeouts);
    ws_.read_message_max(kMaxMessageBytes);
    beast::get_lowest_layer(ws_).expires_after(deadline);
    resolver_.async_resolve(
        url_.host, url_.port, [self = this->shared_from_this()](beast::error_code ec, auto found) {
          if (ec) return self->opened("resolve " + self->url_.host + ": " + ec.message());
          beast::get_lowest_layer(self->ws_).async_connect(found, [self](beast::error_code connected, auto) {
            if (connected) return self->opened("connect: " + connected.message());
            // Frames and the stop message are small: Nagle's algorithm would hold
            // each behind the previous one's acknowledgement.
            beast::error_code ignored;
            beast::get_lowest_layer(self->ws_).socket().set_option(tcp::no_delay(true), ignored);
            self->tlsHandshake();
          });
        });
  }

  void send(std::string payload, bool binary) override {
    net::post(io_, [self = this->shared_from_this(), payload = std::move(payload), binary]() mutable {
      if (self->closing_ || !self->open_) return;
      self->outbox_.emplace_back(std::move(payload), binary);
      if (self->outbox_.size() == 1) self->doWrite();
    });
  }

  void close() override {
    net::post(io_, [self = this->shared_from_this()] {
      if (self->closing_) return;
      self->closing_ = true;
      if (!self->open_) return self->cut();
      if (self->outbox_.empty()) self->closeHandshake();
    });
  }

 private:
  void tlsHandshake() {
    if constexpr (std::is_same_v<NextLayer, beast::tcp_stream>) {
      wsHandshake();
    } else {
      auto& tls = ws_.next_layer();
      if (!SSL_ctrl(tls.native_handle(), SSL_CTRL_SET_TLSEXT_HOSTNAME, TLSEXT_NAMETYPE_host_name,
                    const_cast<char*>(url_.host.c_str())))
        return opened("TLS: cannot set the server name");
      tls.set_verify_callback(ssl::host_name_verification(url_.host));
      tls.async_handshake(ssl::stream_base::client, [self = this->shared_from_this()](beast::error_code ec) {
        if (ec) return self->opened("TLS handshake: " + ec.message());
        self->wsHandshake();
      });
    }
  }

  void wsHandshake() {
    beast::get_lowest_layer(ws_).expires_never();  // the socket's own timeouts take over
    ws_.set_option(websocket::stream_base::decorator(
        [](websocket::request_type& request) { request.set(http::field::user_agent, "pellum-server"); }));
    ws_.async_handshake(url_.hostHeader(), url_.target(),
                        [self = this->shared_from_this()](beast::error_code ec) {
                          if (ec) return self->opened("WebSocket handshake: " + ec.message());
                          self->open_ = true;
                          self->opened(std::nullopt);
                          self->doRead();
                        });
  }

  void opened(std::optional<std::string> error) {
    if (ready_) ready_->set_value(std::move(error));
    ready_.reset();
  }

  void doRead() {
    ws_.async_read(buffer_, [self = this->shared_from_this()](beast::error_code ec, std::size_t) {
      if (ec) return self->onReadFailed(ec);
      const std::string message = beast::buffers_to_string(self->buffer_.data());
      self->buffer_.consume(self->buffer_.size());
      self->state_->apply(self->ws_.got_text()
                              ? readGladiaMessage(message)
                              : GladiaEvent{GladiaEvent::Kind::failed, {}, "Gladia sent a binary message"});
      self->doRead();
    });
  }

  void onReadFailed(beast::error_code ec) {
    if (closing_) return;
    if (ec == websocket::error::closed) {
      const auto& reason = ws_.reason();
      if (reason.code == websocket::close_code::normal) {
        std::lock_guard lock(state_->mutex);
        state_->closedNormally = true;
        state_->changed.notify_all();
        return;
      }
      std::string text = "Gladia closed the session (code " + std::to_string(reason.code);
      if (!reason.reason.empty()) text += ": " + std::string(reason.reason.c_str());
      return state_->fail(text + ")");
    }
    state_->fail("connection to Gladia lost: " + ec.message());
  }

  void doWrite() {
    ws_.binary(outbox_.front().second);
    ws_.async_write(net::buffer(outbox_.front().first),
                    [self = this->shared_from_this()](beast::error_code ec, std::size_t) {
                      if (ec) {
                        if (!self->closing_) self->state_->fail("sending to Gladia failed: " + ec.message());
                        return self->cut();
                      }
                      self->outbox_.pop_front();
                      if (!self->outbox_.empty()) return self->doWrite();
                      if (self->closing_) self->closeHandshake();
                    });
  }

  // After the last queued frame: a close handshake, cut if it takes long.
  void closeHandshake() {
    closeDeadline_.expires_after(std::chrono::seconds(2));
    closeDeadline_.async_wait([self = this->shared_from_this()](beast::error_code ec) {
      if (!ec) self->cut();
    });
    ws_.async_close(websocket::close_code::normal, [self = this->shared_from_this()](beast::error_code) {
      self->closeDeadline_.cancel();
      self->cut();
    });
  }

  void cut() {
    resolver_.cancel();
    beast::get_lowest_layer(ws_).close();
  }

  net::io_context& io_;
  websocket::stream<NextLayer> ws_;
  tcp::resolver resolver_;
  net::steady_timer closeDeadline_;
  std::shared_ptr<RelayState> state_;
  ProviderUrl url_;
  std::optional<std::promise<std::optional<std::string>>> ready_;
  beast::flat_buffer buffer_;
  std::deque<std::pair<std::string, bool>> outbox_;
  bool open_ = false;
  bool closing_ = false;
};

class GladiaStream : public SpeechStream {
 public:
  GladiaStream(std::shared_ptr<RelaySocket> socket, std::shared_ptr<RelayState> state, bool translating,
               std::chrono::milliseconds finalTimeout)
      : socket_(std::move(socket)),
        state_(std::move(state)),
        translating_(translating),
        finalTimeout_(finalTimeout) {}

  ~GladiaStream() override { socket_->close(); }

  void feed(std::span<const std::int16_t> samples) override {
    const std::size_t at = pending_.size();
    pending_.resize(at + samples.size_bytes());
    std::memcpy(pending_.data() + at, samples.data(), samples.size_bytes());  // little-endian, as declared
    std::size_t sent = 0;
    for (; pending_.size() - sent >= kFrameBytes; sent += kFrameBytes)
      socket_->send(pending_.substr(sent, kFrameBytes), true);
    pending_.erase(0, sent);
  }

  std::string partial() override {
    std::lock_guard lock(state_->mutex);
    std::string text = state_->joined(state_->finals);
    if (!state_->partialText.empty() && !state_->finals.contains(state_->partialId))
      text += (text.empty() ? "" : " ") + state_->partialText;
    return text;
  }

  std::optional<EngineError> failure() override {
    std::lock_guard lock(state_->mutex);
    if (!state_->failure) return std::nullopt;
    return EngineError{EngineError::Kind::failed, *state_->failure};
  }

  EngineResult finish() override {
    flush();
    socket_->send(gladiaStopMessage(), false);
    std::unique_lock lock(state_->mutex);
    const bool ended = state_->changed.wait_for(
        lock, finalTimeout_, [&] { return state_->done || state_->failure || state_->closedNormally; });
    if (!ended) {
      return EngineError{EngineError::Kind::failed, "Gladia sent no final transcript within " +
                                                        std::to_string(finalTimeout_.count()) + " ms"};
    }
    if (state_->failure) return EngineError{EngineError::Kind::failed, *state_->failure};
    EngineTranscript transcript{state_->joined(state_->finals)};
    if (transcript.text.empty() && !state_->done) {
      return EngineError{EngineError::Kind::failed, "Gladia closed the session before the final transcript"};
    }
    if (transcript.text.empty()) transcript.text = state_->doneText;
    if (translating_ && !state_->translations.empty())
      transcript.translation = state_->joined(state_->translations);
    return transcript;
  }

  EngineResult transcribeWhole(std::span<const std::int16_t> samples) override {
    feed(samples);
    return finish();
  }

 private:
  void flush() {
    if (pending_.empty()) return;
    socket_->send(std::move(pending_), true);
    pending_.clear();
  }

  std::shared_ptr<RelaySocket> socket_;
  std::shared_ptr<RelayState> state_;
  bool translating_;
  std::chrono::milliseconds finalTimeout_;
  std::string pending_;
};

EngineError failed(std::string description) {
  return EngineError{EngineError::Kind::failed, std::move(description)};
}

}  // namespace

struct GladiaEngine::Impl {
  explicit Impl(GladiaSettings gladiaSettings)
      : settings(std::move(gladiaSettings)), tls(ssl::context::tls_client), work(net::make_work_guard(io)) {
    tls.set_default_verify_paths();  // honours SSL_CERT_FILE and SSL_CERT_DIR
    tls.set_verify_mode(ssl::verify_peer);
    thread = std::thread([this] { io.run(); });
  }
  ~Impl() {
    work.reset();
    io.stop();
    thread.join();
  }

  // The provider session's socket URL, or why there is none.
  std::variant<GladiaSession, std::string> startSession(const SpeechRequest& request) {
    auto url = *parseProviderUrl(settings.baseUrl);
    url.path += "/v2/live";
    if (!settings.region.empty()) url.query = "region=" + settings.region;
    HttpCall call{"POST",
                  url,
                  {{"x-gladia-key", settings.key.value}, {"content-type", "application/json"}},
                  gladiaInitBody(request.languages, request.translateTo, settings.translationModel)};
    auto answer = sendHttp(call, settings.startTimeout);
    if (auto* failure = std::get_if<HttpFailure>(&answer)) return failure->description;
    const auto& reply = std::get<HttpAnswer>(answer);
    auto session = readGladiaInit(reply.status, reply.body);
    if (auto* error = std::get_if<std::string>(&session)) return withoutKey(*error, settings.key.value);
    return session;
  }

  template <class Socket, class... Args>
  std::variant<std::shared_ptr<RelaySocket>, std::string> connect(const ProviderUrl& url,
                                                                  std::shared_ptr<RelayState> state,
                                                                  std::chrono::milliseconds deadline,
                                                                  Args&... args) {
    auto socket = std::make_shared<Socket>(io, std::move(state), args...);
    std::promise<std::optional<std::string>> ready;
    auto opened = ready.get_future();
    net::post(io, [socket, url, deadline, ready = std::move(ready)]() mutable {
      socket->connect(url, deadline, std::move(ready));
    });
    // The socket's own timeouts end the attempt at the deadline; the margin
    // only covers the thread's hand-over.
    if (opened.wait_for(deadline + std::chrono::milliseconds(500)) != std::future_status::ready) {
      socket->close();
      return std::string("no connection within " + std::to_string(deadline.count()) + " ms");
    }
    if (auto error = opened.get()) {
      socket->close();
      return *error;
    }
    return std::shared_ptr<RelaySocket>(socket);
  }

  GladiaSettings settings;
  ssl::context tls;
  net::io_context io;
  net::executor_work_guard<net::io_context::executor_type> work;
  std::thread thread;
};

GladiaEngine::GladiaEngine(GladiaSettings settings) : impl_(std::make_unique<Impl>(std::move(settings))) {}
GladiaEngine::~GladiaEngine() = default;

bool GladiaEngine::supports(std::string_view language) const {
  return GladiaLanguages::languagesByCode().contains(language);
}

std::variant<std::unique_ptr<SpeechStream>, EngineError> GladiaEngine::open(const SpeechRequest& request) {
  const auto started = Clock::now();
  auto session = impl_->startSession(request);
  if (auto* error = std::get_if<std::string>(&session))
    return failed("cannot start a Gladia session: " + *error);
  const auto url = parseProviderUrl(std::get<GladiaSession>(session).url);
  if (!url) return failed("Gladia answered with an unusable session URL");
  const auto left =
      std::max(std::chrono::milliseconds(1),
               impl_->settings.startTimeout -
                   std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - started));
  auto state = std::make_shared<RelayState>();
  auto socket = url->tls ? impl_->connect<GladiaSocket<beast::ssl_stream<beast::tcp_stream>>>(
                               *url, state, left, impl_->tls)
                         : impl_->connect<GladiaSocket<beast::tcp_stream>>(*url, state, left);
  if (auto* error = std::get_if<std::string>(&socket)) return failed("Gladia's live socket: " + *error);
  return std::make_unique<GladiaStream>(std::get<std::shared_ptr<RelaySocket>>(std::move(socket)), state,
                                        !request.translateTo.empty(), impl_->settings.finalTimeout);
}

}  // namespace pellum::server
