#include "upload_form.h"

#include "audio/wav.h"
#include "live_request.h"
#include "multipart_form.h"
#include "pcm_conversion.h"
#include "session_limits.h"

namespace pellum::server {
namespace {

std::variant<std::vector<std::int16_t>, UploadRejection> readAudio(std::string_view bytes, double& seconds) {
  auto parsed = parseWav(bytes);
  if (auto* error = std::get_if<WavError>(&parsed))
    return UploadRejection{415, "cannot read audio: " + error->description};
  const auto& info = std::get<WavInfo>(parsed);
  if (!info.isPcm16()) {
    return UploadRejection{415,
                           "unsupported audio format: " + info.describe() + " (expected 16-bit PCM WAV)"};
  }
  if (info.sampleRate < kMinSampleRate || info.sampleRate > kMaxSampleRate) {
    return UploadRejection{415, "unsupported sample rate: " + std::to_string(info.sampleRate) + " Hz"};
  }
  std::vector<std::int16_t> mono = monoSamples(info);
  seconds = static_cast<double>(mono.size()) / info.sampleRate;
  Resampler resampler(static_cast<int>(info.sampleRate), kEngineSampleRate);
  return resampler.push(mono);
}

}  // namespace

std::variant<UploadAudio, UploadRejection> readUploadForm(std::string_view contentType,
                                                          std::string_view body) {
  const auto boundary = multipartBoundary(contentType);
  if (!boundary) return UploadRejection{400, "expected a multipart/form-data body with a boundary"};
  auto form = parseMultipartForm(body, *boundary);
  if (auto* error = std::get_if<MultipartError>(&form))
    return UploadRejection{400, "malformed form: " + error->description};
  const auto& parts = std::get<0>(form);

  UploadAudio upload;
  if (auto mode = parts.find("mode"); mode != parts.end()) {
    auto parsed = transcriptionModeFromRawValue(mode->second.data);
    if (!parsed) return UploadRejection{400, "unknown mode (expected clean or raw)"};
    upload.mode = *parsed;
  }
  if (auto language = parts.find("language"); language != parts.end())
    upload.languages = languageList(language->second.data);
  if (upload.languages.empty()) upload.languages.push_back("en");

  const auto audio = parts.find("audio");
  if (audio == parts.end()) return UploadRejection{400, "form has no audio part"};
  auto samples = readAudio(audio->second.data, upload.seconds);
  if (auto* rejection = std::get_if<UploadRejection>(&samples)) return *rejection;
  upload.samples = std::get<0>(std::move(samples));
  return upload;
}

}  // namespace pellum::server
