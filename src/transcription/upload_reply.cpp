#include "transcription/upload_reply.h"

namespace pellum {

UploadReply::UploadReply()
    : parser_([this](std::string_view event, std::string_view payload) { handleEvent(event, payload); }) {}

std::optional<UploadResult> UploadReply::feed(std::string_view bytes) {
  parser_.feed(bytes);
  return std::exchange(pending_, std::nullopt);
}

bool UploadReply::markCompleted() { return !std::exchange(completed_, true); }

void UploadReply::handleEvent(std::string_view event, std::string_view payload) {
  if (event == "raw") {
    rawText_ = decodeEventText(payload);
  } else if (event == "chunk") {
    cleanedText_ += decodeEventText(payload);
  } else if (event == "done") {
    if (markCompleted()) pending_ = UploadResult::success(cleanedText_.empty() ? rawText_ : cleanedText_);
  } else if (event == "error") {
    if (markCompleted()) {
      pending_ = UploadResult::failure(TranscriptionError::serverError(std::string(payload)));
    }
  }
}

}  // namespace pellum
