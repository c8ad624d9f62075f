// POST /transcribe as the server reads it. The input's first line is the
// Content-Type header value and the rest is the body: the boundary comes
// from the header, both from the client. Runs the multipart split on its own
// and then the whole upload: form fields, WAV header, channel mix and
// resampling.

#include <map>
#include <string>
#include <variant>

#include "fuzz_support.h"
#include "multipart_form.h"
#include "session_limits.h"
#include "transcription/multipart_body.h"
#include "upload_form.h"

namespace {

using pellum::fuzz::require;
namespace server = pellum::server;

bool inside(std::string_view part, std::string_view whole) {
  return part.empty() ||
         (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = pellum::fuzz::asText(data, size);
  const std::size_t newline = bytes.find('\n');
  if (newline == std::string_view::npos) return 0;
  const std::string_view contentType = bytes.substr(0, newline);
  const std::string_view body = bytes.substr(newline + 1);

  if (const auto boundary = server::multipartBoundary(contentType)) {
    require(!boundary->empty() && boundary->size() <= 200, "a boundary out of bounds was accepted");
    const auto form = server::parseMultipartForm(body, *boundary);
    if (const auto* parts = std::get_if<0>(&form)) {
      const std::string separator = "\r\n--" + *boundary;
      for (const auto& [name, part] : *parts) {
        require(!name.empty(), "a form part without a name was kept");
        require(inside(part.data, body), "a form part points outside the body");
        require(part.data.find(separator) == std::string_view::npos, "a form part runs over a boundary");
        // The name is written in the part's own headers, so before its data.
        if (part.data.data() != nullptr) {
          const auto headersAndBefore =
              body.substr(0, static_cast<std::size_t>(part.data.data() - body.data()));
          require(headersAndBefore.find(name) != std::string_view::npos,
                  "a form part is named by a later header");
        }
      }
    } else {
      require(!std::get<server::MultipartError>(form).description.empty(), "a form error has no description");
    }
  }

  // The client's own form around any audio bytes reads back unchanged.
  constexpr std::string_view kBoundary = "pellum-fuzz-boundary";
  if (bytes.find(kBoundary) == std::string_view::npos) {
    const std::string sent =
        pellum::buildMultipartBody(kBoundary, pellum::TranscriptionMode::raw, "en,fr", "audio/wav", bytes);
    const auto received = server::parseMultipartForm(sent, kBoundary);
    require(std::holds_alternative<std::map<std::string, server::FormPart, std::less<>>>(received),
            "the client's form was refused");
    const auto& parts = std::get<0>(received);
    require(parts.size() == 3 && parts.at("mode").data == "raw" && parts.at("language").data == "en,fr" &&
                parts.at("audio").data == bytes,
            "the client's form read back as other parts");
  }

  const auto upload = server::readUploadForm(contentType, body);
  if (const auto* rejection = std::get_if<server::UploadRejection>(&upload)) {
    require(rejection->status == 400 || rejection->status == 415,
            "an upload was refused with another status");
    require(!rejection->description.empty(), "an upload refusal has no description");
  } else {
    const auto& audio = std::get<server::UploadAudio>(upload);
    require(!audio.languages.empty(), "an upload has no language");
    require(audio.seconds >= 0, "an upload lasts less than nothing");
    // 16 kHz output from at least 8 kHz input: at most twice the input's
    // samples, plus the one the interpolation may add.
    require(audio.samples.size() <= body.size() + 1, "resampling made more audio than the body holds");
  }
  return 0;
}
