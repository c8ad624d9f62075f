// The live route: a WebSocket session that feeds PCM to a speech stream on a
// worker queue and answers with raw, chunk, done or error messages.
#include <utility>  // before Asio, for GCC 12

#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>

#include <atomic>
#include <cassert>
#include <chrono>
#include <deque>
#include <optional>

#include "connection_entry.h"
#include "json_text.h"
#include "live_request.h"
#include "pcm_conversion.h"
#include "query_string.h"
#include "server_log.h"
#include "session_limits.h"
#include "strand_check.h"
#include "transcript_result.h"

namespace pellum::server {
namespace {

namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
namespace net = boost::asio;
using tcp = net::ip::tcp;
using Clock = std::chrono::steady_clock;

// Partial transcripts cost a backtrace through the decoder, and the client
// only shows them, so one is read per half second of audio (twice a second
// for a client talking in real time, however fast the audio arrives).
constexpr std::size_t kPartialEverySamples = kEngineSampleRate / 2;

// How often a session that found every decoder in use asks again.
constexpr std::chrono::milliseconds kBusyRetry{50};

// What the worker queue owns: touched only by tasks on the session's queue.
struct Decoding {
  // Set on the strand once the session has ended: audio still queued is
  // then skipped, so an ended session (timed out, cut off, shut down) does
  // not keep a worker decoding for nobody.
  std::atomic<bool> abandoned{false};
  std::unique_ptr<SpeechStream> speech;
  std::string lastPartial;
  std::size_t samplesSincePartial = 0;
};

// One live dictation. Everything but the decode tasks runs on the
// connection's strand (asserted in debug builds): reads, writes, the idle
// timer and every state flag. Decoding runs on the session's own worker
// queue and reaches back only by posting to the strand; `decoding_` and the
// fields set by openSpeech() before the handshake are the worker's.
class LiveSession : public StoppableSession, public std::enable_shared_from_this<LiveSession> {
 public:
  LiveSession(tcp::socket&& socket, UpgradeRequest request, ServerContext& context)
      : ws_(std::move(socket)),
        upgrade_(std::move(request)),
        context_(context),
        worker_(context.workers.serialQueue()),
        idle_(ws_.get_executor()),
        fault_(ws_.get_executor()),
        closeDeadline_(ws_.get_executor()),
        retry_(ws_.get_executor()),
        decoding_(std::make_shared<Decoding>()) {}

  ~LiveSession() override {
    // The decoder goes back to the pool on the worker, after any task still queued.
    worker_->post([decoding = std::move(decoding_)] { decoding->speech.reset(); });
  }

  void run() {
    net::dispatch(ws_.get_executor(), beast::bind_front_handler(&LiveSession::prepare, shared_from_this()));
  }

  void shutdown() override {
    net::post(ws_.get_executor(), [self = shared_from_this()] {
      self->shuttingDown_ = true;
      if (self->accepted_) self->end("server shutting down");
    });
  }

 private:
  // Parses the URL and gets a decoder before answering the handshake, so a
  // client whose handshake succeeded holds its decoder.
  void prepare() {
    if (!context_.live.add(shared_from_this())) opening_ = "server shutting down";
    auto parsed = parseLiveRequest(parseTarget(upgrade_.target).query);
    if (auto* error = std::get_if<RequestError>(&parsed)) opening_ = error->description;
    if (opening_) return doAccept();
    request_ = std::get<LiveRequest>(std::move(parsed));
    busyUntil_ = Clock::now() + context_.limits.decoderWait;
    openOnWorker();
  }

  void openOnWorker() {
    worker_->post([self = shared_from_this()] {
      auto error = self->openSpeech();
      net::post(self->ws_.get_executor(),
                [self, error = std::move(error)] { self->onOpened(std::move(error)); });
    });
  }

  // With every decoder in use the session asks again for a while before it
  // gives up with "server busy": sessions end every few seconds, so a short
  // peak waits a little instead of being turned away. Nothing is held while
  // it waits (no worker, no decoder); the client waits for the handshake.
  void onOpened(std::optional<EngineError> error) {
    assert(onConnectionStrand(ws_.get_executor()));
    if (error && error->kind == EngineError::Kind::busy && !shuttingDown_ && Clock::now() < busyUntil_) {
      retry_.expires_after(kBusyRetry);
      retry_.async_wait([self = shared_from_this()](beast::error_code ec) {
        if (ec) return;
        if (self->shuttingDown_)
          return self->onOpened(EngineError{EngineError::Kind::failed, "server shutting down"});
        self->openOnWorker();
      });
      return;
    }
    if (error) opening_ = error->description;
    doAccept();
  }

  // On the worker: chooses the language and opens the engine's stream.
  std::optional<EngineError> openSpeech() {
    auto& engine = context_.liveEngine;
    const auto language =
        firstSupported(request_.languages, [&](const std::string& code) { return engine.supports(code); });
    if (!language)
      return EngineError{EngineError::Kind::unsupportedLanguage,
                         unsupportedLanguagesText(request_.languages)};
    language_ = *language;
    if (!request_.translateTo.empty() && request_.translateTo != language_ && !engine.translates() &&
        !context_.translator.hasPair(language_, request_.translateTo)) {
      return EngineError{EngineError::Kind::failed, missingPairText(language_, request_.translateTo)};
    }
    auto opened = engine.open(SpeechRequest{request_.languages, language_, request_.translateTo});
    if (auto* error = std::get_if<EngineError>(&opened)) return *error;
    decoding_->speech = std::get<std::unique_ptr<SpeechStream>>(std::move(opened));
    resampler_.emplace(request_.sampleRate, kEngineSampleRate);
    return std::nullopt;
  }

  void doAccept() {
    if (context_.limits.liveSendBuffer > 0) {
      beast::error_code ignored;
      beast::get_lowest_layer(ws_).socket().set_option(
          net::socket_base::send_buffer_size(static_cast<int>(context_.limits.liveSendBuffer)), ignored);
    }
    http::request<http::empty_body> request{http::verb::get, upgrade_.target, 11};
    for (const auto& [name, value] : upgrade_.fields) request.insert(name, value);
    ws_.set_option(websocket::stream_base::timeout::suggested(beast::role_type::server));
    ws_.set_option(websocket::stream_base::decorator(
        [](websocket::response_type& response) { response.set(http::field::server, "pellum-server"); }));
    ws_.async_accept(request, beast::bind_front_handler(&LiveSession::onAccept, shared_from_this()));
  }

  void onAccept(beast::error_code ec) {
    if (ec) return fail(ec, "handshake");
    accepted_ = true;
    if (shuttingDown_) return end("server shutting down");
    if (opening_) return end(*opening_);
    armIdleTimer();
    armInjectedFault();
    doRead();
  }

  // Testing clients' fallback: the session fails on purpose, as a provider
  // outage would, with the text so far left unsent.
  void armInjectedFault() {
    if (context_.limits.failLiveAfter.count() <= 0) return;
    fault_.expires_after(context_.limits.failLiveAfter);
    fault_.async_wait([weak = weak_from_this()](beast::error_code ec) {
      auto self = weak.lock();
      if (!ec && self && !self->ending_) self->end("injected failure");
    });
  }

  void armIdleTimer() {
    idle_.expires_after(context_.limits.idleTimeout);
    idle_.async_wait([weak = weak_from_this()](beast::error_code ec) {
      auto self = weak.lock();
      if (!ec && self)
        self->end("no message for " + std::to_string(self->context_.limits.idleTimeout.count()) + " seconds");
    });
  }

  // Reads at most one byte past the message limit, so an oversized message is
  // caught without buffering it.
  void doRead() {
    const std::size_t room = context_.limits.maxMessageBytes + 1 - messageBytes_;
    ws_.async_read_some(buffer_, room, beast::bind_front_handler(&LiveSession::onRead, shared_from_this()));
  }

  void onRead(beast::error_code ec, std::size_t bytes) {
    if (ec) return fail(ec, "read");
    if (ending_) return;
    messageBytes_ += bytes;
    if (messageBytes_ > context_.limits.maxMessageBytes) {
      return end("message over " + std::to_string(context_.limits.maxMessageBytes / 1024) + " KiB");
    }
    if (!ws_.is_message_done()) return doRead();
    if (!stopped_) armIdleTimer();
    const std::string payload = beast::buffers_to_string(buffer_.data());
    buffer_.consume(buffer_.size());
    messageBytes_ = 0;
    if (ws_.got_text()) {
      onText(payload);
    } else {
      onAudio(payload);
    }
    if (!ending_) doRead();
  }

  void onText(const std::string& payload) {
    switch (classifyClientText(payload)) {
      case ClientText::notJson:
        return end("text message is not JSON");
      case ClientText::unknown:
        return;
      case ClientText::stop:
        return onStop();
    }
  }

  void onAudio(const std::string& payload) {
    if (stopped_) return;
    auto samples = assembler_.push(payload);
    receivedSamples_ += samples.size();
    const auto limit = static_cast<std::uint64_t>(context_.limits.maxSessionAudio.count()) *
                       static_cast<std::uint64_t>(request_.sampleRate);
    if (receivedSamples_ > limit) {
      return end("session over " + std::to_string(context_.limits.maxSessionAudio.count()) +
                 " seconds of audio");
    }
    worker_->post(
        [self = shared_from_this(), samples = resampler_->push(samples)] { self->decode(samples); });
  }

  // On the worker.
  void decode(const std::vector<std::int16_t>& samples) {
    auto& decoding = *decoding_;
    if (!decoding.speech || decoding.abandoned.load()) return;
    decoding.speech->feed(samples);
    if (auto failure = decoding.speech->failure()) {
      decoding.abandoned.store(true);
      net::post(ws_.get_executor(),
                [self = shared_from_this(), error = std::move(failure->description)] { self->end(error); });
      return;
    }
    decoding.samplesSincePartial += samples.size();
    if (decoding.samplesSincePartial < kPartialEverySamples) return;
    decoding.samplesSincePartial = 0;
    std::string partial = decoding.speech->partial();
    if (partial == decoding.lastPartial) return;
    decoding.lastPartial = partial;
    net::post(ws_.get_executor(), [self = shared_from_this(), partial = std::move(partial)] {
      if (!self->stopped_ && !self->ending_) self->sendPartial(rawMessage(partial));
    });
  }

  void onStop() {
    assert(onConnectionStrand(ws_.get_executor()));
    if (stopped_) return;
    stopped_ = true;
    stoppedAt_ = Clock::now();
    // The client waits now; finishing is the server's time, and has a limit.
    idle_.expires_after(context_.limits.resultTimeout);
    idle_.async_wait([weak = weak_from_this()](beast::error_code ec) {
      auto self = weak.lock();
      if (!ec && self) self->end("transcription timed out");
    });
    worker_->post([self = shared_from_this()] {
      auto& decoding = *self->decoding_;
      if (decoding.abandoned.load()) return;
      const EngineResult finished = decoding.speech ? decoding.speech->finish() : EngineTranscript{};
      decoding.speech.reset();
      TranscriptResult result;
      if (auto* error = std::get_if<EngineError>(&finished)) {
        result.error = error->description;
      } else {
        result =
            finishTranscript(std::get<EngineTranscript>(finished), self->request_.mode, self->language_,
                             self->request_.translateTo, self->context_.cleanup, self->context_.translator);
      }
      net::post(self->ws_.get_executor(), [self, result = std::move(result)] { self->onResult(result); });
    });
  }

  void onResult(const TranscriptResult& result) {
    assert(onConnectionStrand(ws_.get_executor()));
    if (ending_) return;
    if (result.error) return end(*result.error);
    outcome_ = "done";
    for (auto& message : liveMessages(result)) send(std::move(message));
    closeAfterWrites();
  }

  // Partial transcripts keep coming for as long as the client talks: a
  // client that does not read them is cut off once the queue passes its
  // bounds, instead of being buffered for without limit. (The final result
  // and errors are one bounded burst and always queue.)
  void sendPartial(std::string message) {
    if (!outbox_.empty() && (outbox_.size() >= context_.limits.maxQueuedMessages ||
                             queuedBytes_ + message.size() > context_.limits.maxQueuedBytes)) {
      return dropSlowClient();
    }
    send(std::move(message));
  }

  void send(std::string message) {
    assert(onConnectionStrand(ws_.get_executor()));
    if (tooSlow_) return;
    queuedBytes_ += message.size();
    outbox_.push_back(std::move(message));
    if (outbox_.size() == 1) doWrite();
  }

  // Drops everything not yet on the wire and closes with 1008 once the write
  // in flight completes, or cuts the connection when even that does not
  // happen in time.
  void dropSlowClient() {
    const std::string figures =
        std::to_string(outbox_.size()) + " messages, " + std::to_string(queuedBytes_) + " bytes queued";
    tooSlow_ = true;
    ending_ = true;
    decoding_->abandoned.store(true);
    idle_.cancel();
    fault_.cancel();
    outcome_ = "closed: client too slow (" + figures + ")";
    finishLog();
    while (outbox_.size() > 1) {
      queuedBytes_ -= outbox_.back().size();
      outbox_.pop_back();
    }
    closeReason_ = websocket::close_reason(websocket::close_code::policy_error, "client too slow");
    closing_ = true;
    armCloseDeadline();
    if (outbox_.empty()) doClose();
  }

  void armCloseDeadline() {
    closeDeadline_.expires_after(context_.limits.closeGrace);
    closeDeadline_.async_wait([weak = weak_from_this()](beast::error_code ec) {
      auto self = weak.lock();
      if (ec || !self) return;
      beast::error_code ignored;
      beast::get_lowest_layer(self->ws_).socket().close(ignored);
    });
  }

  void doWrite() {
    ws_.text(true);
    ws_.async_write(net::buffer(outbox_.front()),
                    beast::bind_front_handler(&LiveSession::onWrite, shared_from_this()));
  }

  void onWrite(beast::error_code ec, std::size_t) {
    if (ec) return fail(ec, "write");
    queuedBytes_ -= outbox_.front().size();
    outbox_.pop_front();
    if (!outbox_.empty()) return doWrite();
    if (closing_) doClose();
  }

  // Sends an error message, then closes. Later calls do nothing.
  void end(const std::string& error) {
    assert(onConnectionStrand(ws_.get_executor()));
    if (ending_) return;
    outcome_ = "error: " + error;
    send(errorMessage(error));
    closeAfterWrites();
  }

  void closeAfterWrites() {
    if (tooSlow_) return;  // already closing, with its own reason
    ending_ = true;
    decoding_->abandoned.store(true);
    closing_ = true;
    idle_.cancel();
    fault_.cancel();
    finishLog();  // now, not at the close: the outcome is decided
    armCloseDeadline();
    if (outbox_.empty()) doClose();
  }

  void doClose() {
    closing_ = false;
    ws_.async_close(closeReason_, beast::bind_front_handler(&LiveSession::onClose, shared_from_this()));
  }

  void onClose(beast::error_code) { closeDeadline_.cancel(); }

  void fail(beast::error_code ec, const char* what) {
    idle_.cancel();
    fault_.cancel();
    closeDeadline_.cancel();
    ending_ = true;
    decoding_->abandoned.store(true);
    if (outcome_.empty()) outcome_ = std::string("dropped: ") + what + ": " + ec.message();
    finishLog();
  }

  void finishLog() {
    if (logged_) return;
    logged_ = true;
    const double audio =
        request_.sampleRate ? static_cast<double>(receivedSamples_) / request_.sampleRate : 0;
    char figures[128];
    std::snprintf(figures, sizeof figures, " audio=%.2fs", audio);
    std::string line = "live device=" + upgrade_.deviceId + " mode=" + std::string(rawValue(request_.mode)) +
                       " language=" + (language_.empty() ? "-" : language_) +
                       (request_.translateTo.empty() ? "" : " translate_to=" + request_.translateTo) +
                       " rate=" + std::to_string(request_.sampleRate) + figures;
    if (stopped_) {
      const double stopToEnd = std::chrono::duration<double>(Clock::now() - stoppedAt_).count();
      std::snprintf(figures, sizeof figures, " stop-to-end=%.3fs", stopToEnd);
      line += figures;
      context_.metrics.observeStopToDone(stopToEnd);
    }
    logLine(line + " " + outcome_);
  }

  websocket::stream<beast::tcp_stream> ws_;
  UpgradeRequest upgrade_;
  ServerContext& context_;
  std::shared_ptr<WorkQueue> worker_;
  net::steady_timer idle_;
  net::steady_timer fault_;
  net::steady_timer closeDeadline_;
  net::steady_timer retry_;  // asks for a decoder again while all are busy
  Clock::time_point busyUntil_{};
  std::shared_ptr<Decoding> decoding_;
  beast::flat_buffer buffer_;
  std::deque<std::string> outbox_;
  std::size_t queuedBytes_ = 0;
  websocket::close_reason closeReason_{websocket::close_code::normal};
  LiveRequest request_;
  std::string language_;
  std::optional<std::string> opening_;  // why the session cannot start
  SampleAssembler assembler_;
  std::optional<Resampler> resampler_;
  std::uint64_t receivedSamples_ = 0;
  std::size_t messageBytes_ = 0;
  Clock::time_point stoppedAt_{};
  std::string outcome_;
  bool stopped_ = false;
  bool ending_ = false;
  bool closing_ = false;
  bool logged_ = false;
  bool accepted_ = false;
  bool shuttingDown_ = false;
  bool tooSlow_ = false;
};

}  // namespace

void startLiveSession(tcp::socket socket, UpgradeRequest request, ServerContext& context) {
  std::make_shared<LiveSession>(std::move(socket), std::move(request), context)->run();
}

}  // namespace pellum::server
