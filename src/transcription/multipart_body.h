#pragma once

#include <string>
#include <string_view>

#include "transcription/transcription_mode.h"

namespace pellum {

// The file extension the upload's file name carries: "m4a" when the content
// type mentions m4a or mp4, "webm" otherwise. A WAV recording therefore goes
// out as "recording.webm" while its part says "audio/wav"; the server sniffs
// the bytes, and the historical name is kept on purpose.
std::string_view uploadFileExtension(std::string_view contentType);

// The multipart form of an upload, byte for byte: parts "mode", "language"
// and "audio" in that order, CRLF line ends, the audio bytes unchanged.
std::string buildMultipartBody(std::string_view boundary, TranscriptionMode mode, std::string_view language,
                               std::string_view contentType, std::string_view audio);

// "multipart/form-data; boundary=" + boundary.
std::string multipartContentType(std::string_view boundary);

}  // namespace pellum
