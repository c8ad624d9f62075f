#include "openai_engine.h"

#include <algorithm>
#include <mutex>

#include "audio/voice_activity_detector.h"
#include "audio/wav.h"
#include "openai_wire.h"
#include "pause_splitter.h"
#include "provider_http.h"
#include "random_token.h"
#include "session_limits.h"
#include "transcription/gladia_languages.h"

namespace pellum::server {

using Clock = std::chrono::steady_clock;

namespace {

constexpr std::size_t kFrameSamples = kEngineSampleRate * 30 / 1000;  // the detector's 30 ms frames
constexpr std::chrono::milliseconds kFrameLength{30};
// A pause this long after speech ends a piece: longer than the gaps
// between words, shorter than a breath between sentences.
constexpr std::chrono::milliseconds kPiecePause{600};

std::string pcmBytes(std::span<const std::int16_t> samples) {
  return std::string(reinterpret_cast<const char*>(samples.data()), samples.size_bytes());
}

}  // namespace

// What every stream of the engine shares: the settings and the rate limit.
struct OpenAiEngine::Service {
  OpenAiSettings settings;
  ProviderUrl url;
  std::mutex mutex;
  Clock::time_point refusedUntil{};  // after a 429, under `mutex`

  std::string host() const { return url.host; }

  std::variant<std::string, EngineError> transcribe(std::span<const std::int16_t> samples,
                                                    const std::string& language) {
    if (auto waiting = rateLimited()) return *waiting;
    const std::string boundary = "pellum-" + randomToken();
    HttpCall call{"POST",
                  url,
                  {{"content-type", "multipart/form-data; boundary=" + boundary}},
                  transcriptionForm(boundary, {settings.model, language, settings.prompt},
                                    wavData(pcmBytes(samples), kEngineSampleRate))};
    if (!settings.key.empty()) call.headers.emplace_back("authorization", "Bearer " + settings.key.value);
    auto sent = sendHttp(call, settings.timeout);
    if (auto* failure = std::get_if<HttpFailure>(&sent)) return failed(host() + ": " + failure->description);
    const auto& answer = std::get<HttpAnswer>(sent);
    if (auto spent = quotaExhaustedFor(answer.headers)) refuseFor(*spent);
    auto text = readTranscriptionAnswer(answer.status, answer.headers, answer.body);
    if (auto* refusal = std::get_if<ProviderRefusal>(&text)) {
      if (refusal->retryAfter) refuseFor(*refusal->retryAfter);
      return failed(host() + " answered " + withoutKey(refusal->description, settings.key.value));
    }
    return std::get<std::string>(std::move(text));
  }

  // Requests until then would only be refused: callers hear so at once.
  void refuseFor(std::chrono::milliseconds window) {
    std::lock_guard lock(mutex);
    refusedUntil = std::max(refusedUntil, Clock::now() + window);
  }

  std::optional<EngineError> rateLimited() {
    std::lock_guard lock(mutex);
    const auto left = std::chrono::ceil<std::chrono::seconds>(refusedUntil - Clock::now());
    if (left.count() <= 0) return std::nullopt;
    return failed(host() + " is rate limiting: retry in " + std::to_string(left.count()) + " s");
  }

  static EngineError failed(std::string description) {
    return EngineError{EngineError::Kind::failed, std::move(description)};
  }
};

namespace {

class OpenAiStream : public SpeechStream {
 public:
  OpenAiStream(std::shared_ptr<OpenAiEngine::Service> service, std::string language)
      : service_(std::move(service)),
        language_(std::move(language)),
        detector_(VoiceActivityDetector::create(kEngineSampleRate, VoiceActivityDetector::Mode::aggressive)),
        splitter_(static_cast<std::size_t>(service_->settings.minSegment / kFrameLength),
                  static_cast<std::size_t>(kPiecePause / kFrameLength)) {}

  void feed(std::span<const std::int16_t> samples) override {
    if (error_) return;
    piece_.insert(piece_.end(), samples.begin(), samples.end());
    while (piece_.size() - analysed_ >= kFrameSamples) {
      const bool voice = detector_ && detector_->isVoice(piece_.data() + analysed_, kFrameSamples);
      analysed_ += kFrameSamples;
      if (auto frames = splitter_.push(voice)) sendPiece(*frames * kFrameSamples);
      if (error_) return;
    }
  }

  std::string partial() override { return joined(); }

  std::optional<EngineError> failure() override { return error_; }

  EngineResult finish() override {
    if (error_) return *error_;
    // The last piece goes unless it is only the silence after the others.
    if (!piece_.empty() && (splitter_.heardVoice() || texts_.empty())) sendPiece(piece_.size());
    if (error_) return *error_;
    return EngineTranscript{joined()};
  }

  EngineResult transcribeWhole(std::span<const std::int16_t> samples) override {
    auto text = service_->transcribe(samples, language_);
    if (auto* error = std::get_if<EngineError>(&text)) return *error;
    return EngineTranscript{std::get<std::string>(std::move(text))};
  }

 private:
  void sendPiece(std::size_t samples) {
    auto text = service_->transcribe(std::span(piece_.data(), samples), language_);
    if (auto* error = std::get_if<EngineError>(&text)) {
      error_ = *error;
      return;
    }
    if (auto& piece = std::get<std::string>(text); !piece.empty()) texts_.push_back(std::move(piece));
    piece_.erase(piece_.begin(), piece_.begin() + static_cast<std::ptrdiff_t>(samples));
    analysed_ -= std::min(analysed_, samples);
  }

  std::string joined() const {
    std::string text;
    for (const auto& piece : texts_) text += (text.empty() ? "" : " ") + piece;
    return text;
  }

  std::shared_ptr<OpenAiEngine::Service> service_;
  std::string language_;
  std::unique_ptr<VoiceActivityDetector> detector_;
  PauseSplitter splitter_;
  std::vector<std::int16_t> piece_;
  std::size_t analysed_ = 0;  // samples of piece_ the detector has seen
  std::vector<std::string> texts_;
  std::optional<EngineError> error_;
};

}  // namespace

OpenAiEngine::OpenAiEngine(OpenAiSettings settings) : service_(std::make_shared<Service>()) {
  service_->url = *parseProviderUrl(settings.baseUrl);
  service_->url.path += settings.path;
  service_->settings = std::move(settings);
}

OpenAiEngine::~OpenAiEngine() = default;

bool OpenAiEngine::supports(std::string_view language) const {
  return GladiaLanguages::languagesByCode().contains(language);
}

std::variant<std::unique_ptr<SpeechStream>, EngineError> OpenAiEngine::open(const SpeechRequest& request) {
  if (auto waiting = service_->rateLimited()) return *waiting;
  // One language is named; with several the service detects which.
  const std::string language =
      request.languages.size() > 1 ? service_->settings.detectLanguage : request.language;
  return std::make_unique<OpenAiStream>(service_, language);
}

}  // namespace pellum::server
