#include "pellum_server.h"

#include <utility>  // before Asio, for GCC 12

#include <boost/asio/bind_executor.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <thread>
#include <vector>

#include "apertium_translator.h"
#include "connection_entry.h"
#include "decoder_budget.h"
#include "engine_set.h"
#include "listener.h"
#include "server_log.h"

namespace pellum::server {

namespace net = boost::asio;
using tcp = net::ip::tcp;

namespace {

int coreCount() { return std::max(1, static_cast<int>(std::thread::hardware_concurrency())); }

// MemAvailable of /proc/meminfo in bytes; 0 when it cannot be read.
std::uint64_t availableMemory() {
  std::ifstream meminfo("/proc/meminfo");
  std::string name;
  std::uint64_t kilobytes = 0;
  std::string unit;
  while (meminfo >> name >> kilobytes) {
    std::getline(meminfo, unit);
    if (name == "MemAvailable:") return kilobytes * 1024;
  }
  return 0;
}

int decoderCount(const ServerOptions& options) {
  return options.maxDecoders > 0 ? options.maxDecoders : defaultDecoderCount(availableMemory(), coreCount());
}

std::string urlOf(const tcp::endpoint& endpoint) {
  const auto address = endpoint.address();
  const std::string host = address.is_v6() ? "[" + address.to_string() + "]" : address.to_string();
  return "http://" + host + ":" + std::to_string(endpoint.port());
}

}  // namespace

// Members are declared in the order they must be built; they are destroyed
// in reverse, so sessions (owned by the I/O context) go before the workers
// that return their decoders, and those before the engine.
struct PellumServer::Impl {
  Impl(const ServerOptions& options, const EngineConfig& config, std::unique_ptr<DeviceStore> deviceStore,
       std::string formSecret)
      : store(std::move(deviceStore)),
        decoders(decoderCount(options)),
        engines(config, PocketSphinxOptions{.initialDecoders = std::min(coreCount(), decoders),
                                            .maxDecoders = decoders}),
        uploads(options.maxUploads),
        workers(std::max(2, coreCount())),
        uploadWorkers(options.maxUploads),
        guesses(options.guesses),
        context{*store,           engines.live(),
                engines.upload(), engines.cleanup(),
                translator,       workers,
                uploadWorkers,    live,
                uploads,          guesses,
                metrics,          options.limits,
                options.proxies,  std::move(formSecret)},
        io(coreCount()),
        signals(io, SIGINT, SIGTERM),
        shutdownTimer(io) {}

  std::unique_ptr<DeviceStore> store;
  int decoders;  // most PocketSphinx decoders at once
  EngineSet engines;
  ApertiumTranslator translator;
  UploadGate uploads;  // outlives the upload tasks, which hold its tickets
  DecodeWorkers workers;
  // Uploads decode apart, so a few long ones never hold up a live session.
  DecodeWorkers uploadWorkers;
  LiveRegistry live;
  GuessLimiter guesses;
  ServerMetrics metrics;
  ServerContext context;
  net::io_context io;
  // The signal and timer handlers of a shutdown, one at a time whatever
  // thread runs them.
  net::strand<net::io_context::executor_type> control{net::make_strand(io)};
  net::signal_set signals;
  net::steady_timer shutdownTimer;
  std::chrono::steady_clock::time_point shutdownDeadline;
  std::chrono::steady_clock::time_point drainDeadline;
  bool ending = false;  // on `control` only
  std::shared_ptr<Listener> web;
  std::shared_ptr<Listener> transcribe;

  void onSignal() {
    web->stop();
    transcribe->stop();
    const auto drain = context.limits.drain;
    if (drain.count() == 0 || (live.allEnded() && uploads.active() == 0)) return endSessions();
    logLine("draining: no new connections; " + std::to_string(live.openSessions()) + " live session(s) and " +
            std::to_string(uploads.active()) + " upload(s) may finish within " +
            std::to_string(drain.count()) + " s");
    drainDeadline = std::chrono::steady_clock::now() + drain;
    // A second signal does not wait.
    signals.async_wait(net::bind_executor(control, [this](boost::system::error_code ec, int) {
      if (!ec) endSessions();
    }));
    awaitDrain();
  }

  // Rolling restarts: what is open finishes; the deadline bounds the wait.
  void awaitDrain() {
    if (ending) return;
    if ((live.allEnded() && uploads.active() == 0) || std::chrono::steady_clock::now() >= drainDeadline)
      return endSessions();
    shutdownTimer.expires_after(std::chrono::milliseconds(50));
    shutdownTimer.async_wait(net::bind_executor(control, [this](boost::system::error_code ec) {
      if (!ec) awaitDrain();
    }));
  }

  void endSessions() {
    if (ending) return;
    ending = true;
    shutdownTimer.cancel();
    logLine("shutting down");
    live.shutdownAll();
    uploads.close();
    // Sessions get a moment to deliver their error and close; idle web
    // connections and uploads in progress are then cut.
    shutdownDeadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    awaitSessions();
  }

  void awaitSessions() {
    if (live.allEnded() || std::chrono::steady_clock::now() >= shutdownDeadline) return io.stop();
    shutdownTimer.expires_after(std::chrono::milliseconds(20));
    shutdownTimer.async_wait(
        net::bind_executor(control, [this](boost::system::error_code) { awaitSessions(); }));
  }
};

StoreLocation storeLocation(const ServerOptions& options, const EngineConfig& config) {
  return {options.storeUrl.empty() ? config.storeUrl : options.storeUrl, options.dataDir};
}

PellumServer::PellumServer(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
PellumServer::~PellumServer() = default;

std::variant<std::unique_ptr<PellumServer>, std::string> PellumServer::start(const ServerOptions& options,
                                                                             const EngineConfig& engines) {
  auto opened = openDeviceStore(storeLocation(options, engines));
  if (auto* error = std::get_if<StoreError>(&opened)) return error->description;
  auto store = std::get<std::unique_ptr<DeviceStore>>(std::move(opened));
  auto formSecret = store->formSecret();
  if (auto* error = std::get_if<StoreError>(&formSecret)) return error->description;
  auto impl = std::make_unique<Impl>(options, engines, std::move(store), std::get<std::string>(formSecret));
  auto& context = impl->context;
  impl->web = std::make_shared<Listener>(
      impl->io, [&context](tcp::socket socket) { startWebSession(std::move(socket), context); });
  impl->transcribe = std::make_shared<Listener>(
      impl->io, [&context](tcp::socket socket) { startTranscribeSession(std::move(socket), context); });
  for (auto [listener, address] :
       {std::pair{impl->web.get(), options.web}, std::pair{impl->transcribe.get(), options.transcribe}}) {
    boost::system::error_code ec;
    const auto ip = net::ip::make_address(address.host, ec);
    if (ec) return "not an IP address: " + address.host;
    if (auto error = listener->open(tcp::endpoint(ip, address.port)); !error.empty()) return error;
  }
  if (auto* pocketsphinx = impl->engines.pocketSphinx()) pocketsphinx->warmUp();
  return std::unique_ptr<PellumServer>(new PellumServer(std::move(impl)));
}

std::string PellumServer::listeningLine() const {
  return "listening web=" + urlOf(impl_->web->endpoint()) +
         " transcribe=" + urlOf(impl_->transcribe->endpoint());
}

PellumServer::Stopped PellumServer::run() {
  logLine("engines " + impl_->engines.summary());  // after the listening line, which comes first
  if (impl_->engines.pocketSphinx()) logLine("speech decoders: up to " + std::to_string(impl_->decoders));
  impl_->signals.async_wait(
      net::bind_executor(impl_->control, [impl = impl_.get()](boost::system::error_code ec, int) {
        if (!ec) impl->onSignal();
      }));
  impl_->web->start();
  impl_->transcribe->start();
  std::vector<std::thread> threads;
  for (int i = 1; i < coreCount(); ++i) threads.emplace_back([this] { impl_->io.run(); });
  impl_->io.run();
  for (auto& thread : threads) thread.join();
  // An upload's decode runs in one uninterruptible call that can last
  // minutes: waiting for it would break the two-second promise, and its
  // client is gone with the connections anyway.
  if (const int decoding = impl_->uploads.decoding(); decoding > 0) {
    logLine("stopped, abandoning " + std::to_string(decoding) + " upload decode" +
            (decoding == 1 ? "" : "s") + " in progress");
    return Stopped::abandoningDecodes;
  }
  // Decode tasks still queued post their results to session strands; they
  // must run while the I/O context exists (stopped, it just drops them).
  impl_->workers.join();
  impl_->uploadWorkers.join();
  logLine("stopped");
  return Stopped::cleanly;
}

}  // namespace pellum::server
