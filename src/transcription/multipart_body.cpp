#include "transcription/multipart_body.h"

namespace pellum {

std::string_view uploadFileExtension(std::string_view contentType) {
  if (contentType.find("m4a") != std::string_view::npos) return "m4a";
  if (contentType.find("mp4") != std::string_view::npos) return "m4a";
  return "webm";
}

std::string buildMultipartBody(std::string_view boundary, TranscriptionMode mode, std::string_view language,
                               std::string_view contentType, std::string_view audio) {
  constexpr std::string_view crlf = "\r\n";
  std::string body;
  body.reserve(audio.size() + 400 + 3 * boundary.size());
  auto add = [&body](std::initializer_list<std::string_view> pieces) {
    for (auto piece : pieces) body.append(piece);
  };
  add({"--", boundary, crlf});
  add({"Content-Disposition: form-data; name=\"mode\"\r\n\r\n"});
  add({rawValue(mode)});
  add({crlf, "--", boundary, crlf});
  add({"Content-Disposition: form-data; name=\"language\"\r\n\r\n"});
  add({language});
  add({crlf, "--", boundary, crlf});
  add({"Content-Disposition: form-data; name=\"audio\"; filename=\"recording.",
       uploadFileExtension(contentType), "\"", crlf});
  add({"Content-Type: ", contentType, crlf, crlf});
  add({audio});
  add({crlf, "--", boundary, "--", crlf});
  return body;
}

std::string multipartContentType(std::string_view boundary) {
  return "multipart/form-data; boundary=" + std::string(boundary);
}

}  // namespace pellum
