#include "transcription/upload_error.h"

namespace pellum {

std::string UploadError::description() const {
  if (const auto* error = transcriptionError()) return error->description();
  return std::get<TransportError>(error_).description;
}

}  // namespace pellum
