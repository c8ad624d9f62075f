// A scripted fake of the remote speech providers' HTTP and WebSocket APIs.
#include "fake_speech_provider.h"

#include <utility>  // before Asio, for GCC 12

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <deque>
#include <mutex>
#include <optional>
#include <set>
#include <sstream>
#include <thread>

namespace pellum::server::test {
namespace {

namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
namespace net = boost::asio;
using tcp = net::ip::tcp;
using json = nlohmann::json;
using Request = http::request<http::string_body>;
using Response = http::response<http::string_body>;
using Ending = FakeSpeechProvider::GladiaScript::Ending;

// Uploads to the hosted services go up to 25 MB; anything bigger is a bug in
// the client under test and is refused rather than buffered.
constexpr std::uint64_t kBodyLimit = 64 * 1024 * 1024;
// A client that opens a connection and then says nothing is cut off after
// this long, so a test that forgets a connection does not leave it forever.
constexpr auto kReadTimeout = std::chrono::seconds(30);
constexpr auto kWriteTimeout = std::chrono::seconds(30);
// Gladia documents 1 MiB per frame; twice that lets a test see an oversized
// frame arrive instead of a cut connection.
constexpr std::size_t kFrameLimit = 2 * 1024 * 1024;
constexpr const char* kCreatedAt = "2026-01-01T00:00:00Z";

std::string lowerCase(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string trimmed(const std::string& text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return "";
  const auto last = text.find_last_not_of(" \t");
  return text.substr(first, last - first + 1);
}

std::string pathOf(const std::string& target) { return target.substr(0, target.find('?')); }

std::string queryValue(const std::string& target, const std::string& name) {
  const auto question = target.find('?');
  if (question == std::string::npos) return "";
  std::istringstream query(target.substr(question + 1));
  std::string pair;
  while (std::getline(query, pair, '&')) {
    if (pair.rfind(name + "=", 0) == 0) return pair.substr(name.size() + 1);
  }
  return "";
}

RecordedRequest record(const Request& request) {
  RecordedRequest recorded;
  recorded.method = std::string(request.method_string());
  recorded.target = std::string(request.target());
  for (const auto& field : request) {
    auto& value = recorded.headers[lowerCase(std::string(field.name_string()))];
    if (!value.empty()) value += ", ";
    value += std::string(field.value());
  }
  recorded.body = request.body();
  return recorded;
}

Response jsonResponse(int status, const json& body) {
  Response response;
  response.result(static_cast<unsigned>(status));
  response.set(http::field::content_type, "application/json");
  response.body() = body.dump();
  return response;
}

// Splits `value` at `;` into the leading value and its key=value parameters
// (quotes removed, keys in lower case).
std::map<std::string, std::string> headerParameters(const std::string& value) {
  std::map<std::string, std::string> parameters;
  std::istringstream parts(value);
  std::string part;
  std::getline(parts, part, ';');
  while (std::getline(parts, part, ';')) {
    const auto equals = part.find('=');
    if (equals == std::string::npos) continue;
    std::string parameter = trimmed(part.substr(equals + 1));
    if (parameter.size() >= 2 && parameter.front() == '"' && parameter.back() == '"') {
      parameter = parameter.substr(1, parameter.size() - 2);
    }
    parameters[lowerCase(trimmed(part.substr(0, equals)))] = parameter;
  }
  return parameters;
}

// The string member `key` of `object`, or "" when there is none.
std::string stringAt(const json& object, const char* key) {
  if (!object.is_object() || !object.contains(key) || !object[key].is_string()) return "";
  return object[key].get<std::string>();
}

// How many bytes the base64 text decodes to; nothing when it is not base64.
std::optional<std::size_t> base64Size(const std::string& text) {
  if (text.empty() || text.size() % 4 != 0) return std::nullopt;
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  for (std::size_t i = 0; i < text.size() - padding; ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (!std::isalnum(c) && c != '+' && c != '/') return std::nullopt;
  }
  return text.size() / 4 * 3 - padding;
}

// What one HTTP request gets.
struct Answer {
  Response response;
  std::chrono::milliseconds delay{0};
  bool stall = false;
};

// A live connection the destructor must be able to cut.
class Connection {
 public:
  virtual ~Connection() = default;
  virtual void cut() = 0;
};

}  // namespace

struct FakeSpeechProvider::Impl {
  net::io_context io;
  net::executor_work_guard<net::io_context::executor_type> work{io.get_executor()};
  tcp::acceptor acceptor{io};
  unsigned short port = 0;
  std::thread thread;

  // Touched only on the io thread.
  std::vector<std::weak_ptr<Connection>> connections;
  std::vector<std::shared_ptr<Connection>> stalled;  // kept alive, unanswered, until the fake goes

  mutable std::mutex mutex;  // guards everything below
  GladiaScript gladia;
  std::vector<RecordedRequest> gladiaInits;
  std::map<std::string, int> gladiaTokens;  // token -> session number
  int gladiaStarts = 0;
  int gladiaSessions = 0;
  std::vector<RecordedRequest> gladiaUpgrades;
  std::size_t gladiaAudioBytes = 0;
  std::vector<std::size_t> gladiaFrameSizes;
  std::vector<std::string> gladiaTextMessages;
  std::string transcriptionPath = "/v1/audio/transcriptions";
  std::string expectedBearer;
  std::vector<TranscriptionReply> transcriptionReplies;
  std::size_t transcriptionAnswered = 0;
  std::vector<RecordedRequest> transcriptionRequests;
  std::vector<ChatReply> chatReplies;
  std::size_t chatAnswered = 0;
  std::vector<RecordedRequest> chatRequests;

  void accept();
  void track(const std::shared_ptr<Connection>& connection);
  Answer answer(const Request& request);
  Answer startGladia(const Request& request);
  bool bearerAccepted(const Request& request) const;
  // Records a WebSocket upgrade on /v2/live; for a token that was issued,
  // counts the session and gives its number and the script it follows.
  std::optional<std::pair<int, GladiaScript>> acceptGladiaSession(const Request& upgrade);
};

namespace {

// One HTTP connection: requests answered in turn (keep-alive), a WebSocket
// upgrade handed to a GladiaSession. Runs on the fake's io thread only.
class HttpSession : public Connection, public std::enable_shared_from_this<HttpSession> {
 public:
  HttpSession(FakeSpeechProvider::Impl& fake, tcp::socket socket)
      : fake_(fake), stream_(std::move(socket)), delay_(fake.io) {}

  void run() { doRead(); }
  void cut() override {
    delay_.cancel();
    beast::error_code ec;
    stream_.socket().shutdown(tcp::socket::shutdown_both, ec);
    stream_.close();
  }

 private:
  void doRead();
  void onRead(beast::error_code ec);
  void doWrite();
  void onWrite(beast::error_code ec);

  FakeSpeechProvider::Impl& fake_;
  beast::tcp_stream stream_;
  beast::flat_buffer buffer_;
  std::optional<http::request_parser<http::string_body>> parser_;
  Response response_;
  net::steady_timer delay_;
};

// One Gladia live session on a WebSocket, following the script it was
// opened with. Runs on the fake's io thread only.
class GladiaSession : public Connection, public std::enable_shared_from_this<GladiaSession> {
 public:
  GladiaSession(FakeSpeechProvider::Impl& fake, tcp::socket socket, int number,
                FakeSpeechProvider::GladiaScript script)
      : fake_(fake),
        ws_(std::move(socket)),
        sessionId_("fake-session-" + std::to_string(number)),
        script_(std::move(script)) {}

  void run(Request request) {
    request_ = std::move(request);
    ws_.set_option(websocket::stream_base::timeout::suggested(beast::role_type::server));
    ws_.read_message_max(kFrameLimit);
    ws_.async_accept(request_, [self = shared_from_this()](beast::error_code ec) {
      if (!ec) self->doRead();
    });
  }

  void cut() override {
    beast::error_code ec;
    auto& socket = beast::get_lowest_layer(ws_).socket();
    socket.shutdown(tcp::socket::shutdown_both, ec);
    socket.close(ec);
  }

 private:
  struct Outgoing {
    std::string text;
    std::optional<websocket::close_reason> close;
  };

  void doRead() {
    ws_.async_read(buffer_, [self = shared_from_this()](beast::error_code ec, std::size_t size) {
      self->onRead(ec, size);
    });
  }

  void onRead(beast::error_code ec, std::size_t size) {
    if (ec) return;  // closed, cut or timed out: nothing more to do
    if (ws_.got_binary()) {
      audioArrived(size);
    } else {
      const std::string text = beast::buffers_to_string(buffer_.data());
      {
        std::lock_guard lock(fake_.mutex);
        fake_.gladiaTextMessages.push_back(text);
      }
      const auto message = json::parse(text, nullptr, false);
      const std::string type = stringAt(message, "type");
      if (type == "stop_recording" && !stopped_) {
        stopped_ = true;
        onStop();
      } else if (type == "audio_chunk" && message.contains("data")) {
        // The documented alternative to binary frames; a chunk that is not
        // base64 counts as no audio, which the test then sees.
        if (const auto chunk = base64Size(stringAt(message["data"], "chunk"))) audioArrived(*chunk);
      }
    }
    buffer_.consume(buffer_.size());
    doRead();
  }

  void audioArrived(std::size_t size) {
    {
      std::lock_guard lock(fake_.mutex);
      fake_.gladiaAudioBytes += size;
      fake_.gladiaFrameSizes.push_back(size);
    }
    bytes_ += size;
    afterAudio();
  }

  static bool isFault(Ending ending) {
    return ending == Ending::closeWithCode || ending == Ending::errorMessage || ending == Ending::notJson;
  }

  void afterAudio() {
    if (script_.firstUtteranceAfterBytes > 0 && !firstSent_ && !script_.utterances.empty() &&
        bytes_ >= script_.firstUtteranceAfterBytes) {
      firstSent_ = true;
      sendUtterance(0);
    }
    if (isFault(script_.ending) && script_.faultAfterBytes > 0 && !faultDone_ &&
        bytes_ >= script_.faultAfterBytes) {
      fault();
    }
  }

  void onStop() {
    switch (script_.ending) {
      case Ending::closeBeforeFinal:
        closeWith(websocket::close_code::normal, "");
        return;
      case Ending::stall:
        return;
      case Ending::closeWithCode:
      case Ending::errorMessage:
      case Ending::notJson:
        if (!faultDone_) fault();
        return;
      case Ending::normal:
        break;
    }
    send(json{{"session_id", sessionId_},
              {"created_at", kCreatedAt},
              {"type", "stop_recording"},
              {"acknowledged", true},
              {"data", {{"recording_left_to_process", 0}}}}
             .dump());
    for (std::size_t i = firstSent_ ? 1 : 0; i < script_.utterances.size(); ++i) sendUtterance(i);
    send(message("end_recording", {{"recording_duration", static_cast<double>(bytes_) / 32000.0}}));
    std::string full;
    json utterances = json::array();
    for (std::size_t i = 0; i < script_.utterances.size(); ++i) {
      if (i > 0) full += " ";
      full += script_.utterances[i];
      utterances.push_back(utterance(i, " " + script_.utterances[i]));
    }
    send(message("post_final_transcript", {{"transcription",
                                            {{"full_transcript", full},
                                             {"languages", json::array({script_.language})},
                                             {"utterances", utterances}}}}));
    send(message("end_session", json::object()));
    closeWith(websocket::close_code::normal, "");
  }

  void fault() {
    faultDone_ = true;
    switch (script_.ending) {
      case Ending::closeWithCode:
        closeWith(static_cast<std::uint16_t>(script_.closeCode), "scripted close");
        break;
      case Ending::errorMessage:
        send(message(
            "error",
            {{"status_code", 500}, {"exception", "InternalError"}, {"message", "scripted provider error"}}));
        break;
      case Ending::notJson:
        send("this is not json");
        break;
      default:
        break;
    }
  }

  json utterance(std::size_t index, const std::string& text) const {
    const double start = 2.0 * static_cast<double>(index);
    return {{"text", text},      {"language", script_.language}, {"start", start}, {"end", start + 1.5},
            {"confidence", 0.9}, {"words", json::array()}};
  }

  std::string message(const std::string& type, json data) const {
    return json{
        {"session_id", sessionId_}, {"created_at", kCreatedAt}, {"type", type}, {"data", std::move(data)}}
        .dump();
  }

  // The partial (the first half of the words) and the final of utterance
  // `index`, then its translation when one is scripted. Texts start with a
  // space, as the real service's do.
  void sendUtterance(std::size_t index) {
    const std::string& text = script_.utterances[index];
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    std::string partial;
    for (std::size_t i = 0; i < std::max<std::size_t>(1, words.size() / 2) && i < words.size(); ++i) {
      partial += " " + words[i];
    }
    const std::string id = "utt-" + std::to_string(index);
    send(message("transcript", {{"id", id}, {"is_final", false}, {"utterance", utterance(index, partial)}}));
    send(
        message("transcript", {{"id", id}, {"is_final", true}, {"utterance", utterance(index, " " + text)}}));
    if (index < script_.translations.size()) {
      send(message("translation",
                   {{"utterance_id", id},
                    {"original_language", script_.language},
                    {"target_language", "fr"},
                    {"translated_utterance", {{"text", script_.translations[index]}, {"language", "fr"}}}}));
    }
  }

  void send(std::string text) {
    if (closing_) return;
    queue_.push_back({std::move(text), std::nullopt});
    if (queue_.size() == 1) doWrite();
  }

  void closeWith(std::uint16_t code, const char* reason) {
    if (closing_) return;
    closing_ = true;
    queue_.push_back({"", websocket::close_reason(static_cast<websocket::close_code>(code), reason)});
    if (queue_.size() == 1) doWrite();
  }

  void doWrite() {
    auto onWritten = [self = shared_from_this()](beast::error_code ec, std::size_t = 0) {
      self->queue_.pop_front();
      if (ec) return self->queue_.clear();
      if (!self->queue_.empty()) self->doWrite();
    };
    Outgoing& next = queue_.front();
    if (next.close) {
      ws_.async_close(*next.close, [onWritten](beast::error_code ec) { onWritten(ec); });
    } else {
      ws_.text(true);
      ws_.async_write(net::buffer(next.text), onWritten);
    }
  }

  FakeSpeechProvider::Impl& fake_;
  websocket::stream<beast::tcp_stream> ws_;
  Request request_;  // the upgrade request, kept until it is accepted
  beast::flat_buffer buffer_;
  const std::string sessionId_;
  const FakeSpeechProvider::GladiaScript script_;
  std::deque<Outgoing> queue_;  // front() is being written
  std::size_t bytes_ = 0;
  bool firstSent_ = false;
  bool faultDone_ = false;
  bool stopped_ = false;
  bool closing_ = false;
};

void HttpSession::doRead() {
  parser_.emplace();
  parser_->body_limit(kBodyLimit);
  stream_.expires_after(kReadTimeout);
  http::async_read(stream_, buffer_, *parser_,
                   [self = shared_from_this()](beast::error_code ec, std::size_t) { self->onRead(ec); });
}

void HttpSession::onRead(beast::error_code ec) {
  if (ec == http::error::body_limit) {
    response_ = jsonResponse(413, {{"error", {{"message", "request body too large"}}}});
    response_.keep_alive(false);
    response_.prepare_payload();
    return doWrite();
  }
  if (ec) return cut();
  Request request = parser_->release();
  if (websocket::is_upgrade(request) && pathOf(std::string(request.target())) == "/v2/live") {
    if (auto accepted = fake_.acceptGladiaSession(request)) {
      stream_.expires_never();
      auto session = std::make_shared<GladiaSession>(fake_, stream_.release_socket(), accepted->first,
                                                     std::move(accepted->second));
      fake_.track(session);
      return session->run(std::move(request));
    }
  }
  Answer answer;
  if (!websocket::is_upgrade(request)) {
    answer = fake_.answer(request);
  } else if (pathOf(std::string(request.target())) == "/v2/live") {
    answer.response = jsonResponse(401, {{"message", "Invalid token"}, {"request_id", "fake-request"}});
  } else {
    answer.response = jsonResponse(404, {{"error", {{"message", "no such route"}}}});
  }
  if (answer.stall) {
    fake_.stalled.push_back(shared_from_this());
    return;
  }
  response_ = std::move(answer.response);
  response_.version(request.version());
  response_.keep_alive(request.keep_alive() && !websocket::is_upgrade(request));
  response_.prepare_payload();
  if (answer.delay.count() == 0) return doWrite();
  delay_.expires_after(answer.delay);
  delay_.async_wait([self = shared_from_this()](beast::error_code waited) {
    if (!waited) self->doWrite();
  });
}

void HttpSession::doWrite() {
  stream_.expires_after(kWriteTimeout);
  http::async_write(stream_, response_,
                    [self = shared_from_this()](beast::error_code ec, std::size_t) { self->onWrite(ec); });
}

void HttpSession::onWrite(beast::error_code ec) {
  if (ec || !response_.keep_alive()) return cut();
  doRead();
}

}  // namespace

void FakeSpeechProvider::Impl::accept() {
  acceptor.async_accept([this](beast::error_code ec, tcp::socket socket) {
    if (ec == net::error::operation_aborted) return;  // the fake is going
    if (!ec) {
      beast::error_code ignored;
      socket.set_option(tcp::no_delay(true), ignored);  // as a provider's front end answers
      auto session = std::make_shared<HttpSession>(*this, std::move(socket));
      track(session);
      session->run();
    }
    accept();
  });
}

void FakeSpeechProvider::Impl::track(const std::shared_ptr<Connection>& connection) {
  std::erase_if(connections, [](const auto& weak) { return weak.expired(); });
  connections.push_back(connection);
}

bool FakeSpeechProvider::Impl::bearerAccepted(const Request& request) const {
  if (expectedBearer.empty()) return true;
  const auto found = request.find(http::field::authorization);
  return found != request.end() && found->value() == "Bearer " + expectedBearer;
}

std::optional<std::pair<int, FakeSpeechProvider::GladiaScript>> FakeSpeechProvider::Impl::acceptGladiaSession(
    const Request& upgrade) {
  std::lock_guard lock(mutex);
  gladiaUpgrades.push_back(record(upgrade));
  const auto found = gladiaTokens.find(queryValue(std::string(upgrade.target()), "token"));
  if (found == gladiaTokens.end()) return std::nullopt;
  ++gladiaSessions;
  return std::pair{found->second, gladia};
}

Answer FakeSpeechProvider::Impl::startGladia(const Request& request) {
  gladiaInits.push_back(record(request));
  const auto key = request.find("x-gladia-key");
  if (key == request.end() || key->value() != gladia.apiKey) {
    return {jsonResponse(401, {{"message", "Invalid api key"}, {"request_id", "fake"}})};
  }
  Answer answer;
  if (gladia.initStatus < 200 || gladia.initStatus > 299) {
    answer.response =
        jsonResponse(gladia.initStatus, {{"message", gladia.initError}, {"request_id", "fake-request"}});
  } else if (!json::parse(request.body(), nullptr, false).is_object()) {
    answer.response =
        jsonResponse(400, {{"message", "body is not a JSON object"}, {"request_id", "fake-request"}});
  } else {
    const int number = ++gladiaStarts;
    const std::string token = "TOKEN-" + std::to_string(number);
    gladiaTokens[token] = number;
    answer.response = jsonResponse(
        gladia.initStatus, {{"id", "fake-session-" + std::to_string(number)},
                            {"created_at", kCreatedAt},
                            {"url", "ws://127.0.0.1:" + std::to_string(port) + "/v2/live?token=" + token}});
  }
  for (const auto& [name, value] : gladia.initHeaders) answer.response.set(name, value);
  return answer;
}

Answer FakeSpeechProvider::Impl::answer(const Request& request) {
  const std::string path = pathOf(std::string(request.target()));
  const bool post = request.method() == http::verb::post;
  std::lock_guard lock(mutex);
  if (request.method() == http::verb::get && path == "/health")
    return {jsonResponse(200, {{"status", "ok"}})};
  if (post && path == "/v2/live") return startGladia(request);
  const bool transcription = post && path == transcriptionPath;
  const bool chat = post && path == "/v1/chat/completions";
  if (!transcription && !chat) return {jsonResponse(404, {{"error", {{"message", "no such route"}}}})};

  (transcription ? transcriptionRequests : chatRequests).push_back(record(request));
  if (!bearerAccepted(request)) {
    return {jsonResponse(401, {{"error",
                                {{"message", "Invalid API Key"},
                                 {"type", "invalid_request_error"},
                                 {"code", "invalid_api_key"}}}})};
  }
  auto pick = [](const auto& replies, std::size_t& answered) {
    return &replies[std::min(answered++, replies.size() - 1)];
  };
  Answer answer;
  answer.response.set(http::field::content_type, "application/json");
  if (transcription) {
    if (transcriptionReplies.empty())
      return {jsonResponse(500, {{"error", {{"message", "no scripted reply"}}}})};
    const TranscriptionReply& reply = *pick(transcriptionReplies, transcriptionAnswered);
    answer.stall = reply.stall;
    answer.response.result(static_cast<unsigned>(reply.status));
    answer.response.body() = reply.body;
    for (const auto& [name, value] : reply.headers) answer.response.set(name, value);
  } else {
    if (chatReplies.empty()) return {jsonResponse(500, {{"error", {{"message", "no scripted reply"}}}})};
    const ChatReply& reply = *pick(chatReplies, chatAnswered);
    answer.delay = reply.delay;
    answer.response.result(static_cast<unsigned>(reply.status));
    answer.response.body() = reply.body;
    for (const auto& [name, value] : reply.headers) answer.response.set(name, value);
  }
  return answer;
}

FakeSpeechProvider::FakeSpeechProvider() : impl_(std::make_unique<Impl>()) {
  const tcp::endpoint endpoint(net::ip::make_address("127.0.0.1"), 0);
  impl_->acceptor.open(endpoint.protocol());
  impl_->acceptor.set_option(net::socket_base::reuse_address(true));
  impl_->acceptor.bind(endpoint);
  impl_->acceptor.listen();
  impl_->port = impl_->acceptor.local_endpoint().port();
  impl_->accept();
  impl_->thread = std::thread([this] { impl_->io.run(); });
}

FakeSpeechProvider::~FakeSpeechProvider() {
  // Everything is cut on the io thread, which owns the sockets; the handlers
  // still queued are dropped with the io_context.
  net::post(impl_->io, [impl = impl_.get()] {
    beast::error_code ec;
    impl->acceptor.close(ec);
    for (const auto& weak : impl->connections) {
      if (auto connection = weak.lock()) connection->cut();
    }
    impl->io.stop();
  });
  impl_->thread.join();
  impl_->stalled.clear();
  impl_->connections.clear();
}

unsigned short FakeSpeechProvider::port() const { return impl_->port; }

std::string FakeSpeechProvider::baseUrl() const { return "http://127.0.0.1:" + std::to_string(impl_->port); }

void FakeSpeechProvider::setGladia(GladiaScript script) {
  std::lock_guard lock(impl_->mutex);
  impl_->gladia = std::move(script);
}

std::vector<RecordedRequest> FakeSpeechProvider::gladiaInits() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->gladiaInits;
}

std::size_t FakeSpeechProvider::gladiaAudioBytes() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->gladiaAudioBytes;
}

std::vector<std::size_t> FakeSpeechProvider::gladiaFrameSizes() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->gladiaFrameSizes;
}

std::vector<std::string> FakeSpeechProvider::gladiaTextMessages() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->gladiaTextMessages;
}

std::vector<RecordedRequest> FakeSpeechProvider::gladiaUpgrades() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->gladiaUpgrades;
}

int FakeSpeechProvider::gladiaSessions() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->gladiaSessions;
}

FakeSpeechProvider::TranscriptionReply FakeSpeechProvider::TranscriptionReply::ok(std::string text) {
  TranscriptionReply reply;
  reply.body = json{{"text", std::move(text)}}.dump();
  return reply;
}

void FakeSpeechProvider::setTranscriptionReplies(std::vector<TranscriptionReply> replies) {
  std::lock_guard lock(impl_->mutex);
  impl_->transcriptionReplies = std::move(replies);
  impl_->transcriptionAnswered = 0;
}

void FakeSpeechProvider::setTranscriptionPath(std::string path) {
  std::lock_guard lock(impl_->mutex);
  impl_->transcriptionPath = std::move(path);
}

void FakeSpeechProvider::setExpectedBearer(std::string key) {
  std::lock_guard lock(impl_->mutex);
  impl_->expectedBearer = std::move(key);
}

std::vector<RecordedRequest> FakeSpeechProvider::transcriptionRequests() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->transcriptionRequests;
}

std::vector<MultipartField> FakeSpeechProvider::multipartFields(const RecordedRequest& request) {
  const auto contentType = request.headers.find("content-type");
  if (contentType == request.headers.end()) return {};
  const auto parameters = headerParameters(contentType->second);
  const auto boundary = parameters.find("boundary");
  if (boundary == parameters.end() || boundary->second.empty()) return {};
  const std::string delimiter = "--" + boundary->second;
  const std::string& body = request.body;

  std::vector<MultipartField> fields;
  auto at = body.find(delimiter);
  while (at != std::string::npos) {
    at += delimiter.size();
    if (body.compare(at, 2, "--") == 0) break;  // the closing delimiter
    if (body.compare(at, 2, "\r\n") == 0) at += 2;
    const auto headersEnd = body.find("\r\n\r\n", at);
    if (headersEnd == std::string::npos) break;
    const auto valueEnd = body.find("\r\n" + delimiter, headersEnd + 4);
    if (valueEnd == std::string::npos) break;

    MultipartField field;
    std::istringstream headers(body.substr(at, headersEnd - at));
    for (std::string line; std::getline(headers, line);) {
      if (!line.empty() && line.back() == '\r') line.pop_back();
      const auto colon = line.find(':');
      if (colon == std::string::npos) continue;
      const std::string name = lowerCase(trimmed(line.substr(0, colon)));
      const std::string value = trimmed(line.substr(colon + 1));
      if (name == "content-type") field.contentType = value;
      if (name == "content-disposition") {
        const auto disposition = headerParameters(value);
        if (auto found = disposition.find("name"); found != disposition.end()) field.name = found->second;
        if (auto found = disposition.find("filename"); found != disposition.end())
          field.filename = found->second;
      }
    }
    field.value = body.substr(headersEnd + 4, valueEnd - headersEnd - 4);
    fields.push_back(std::move(field));
    at = valueEnd + 2;
  }
  return fields;
}

FakeSpeechProvider::ChatReply FakeSpeechProvider::ChatReply::ok(std::string content) {
  ChatReply reply;
  reply.body =
      json{{"choices", json::array({{{"message", {{"role", "assistant"}, {"content", std::move(content)}}},
                                     {"finish_reason", "stop"}}})}}
          .dump();
  return reply;
}

void FakeSpeechProvider::setChatReplies(std::vector<ChatReply> replies) {
  std::lock_guard lock(impl_->mutex);
  impl_->chatReplies = std::move(replies);
  impl_->chatAnswered = 0;
}

std::vector<RecordedRequest> FakeSpeechProvider::chatRequests() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->chatRequests;
}

}  // namespace pellum::server::test
