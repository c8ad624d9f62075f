#include "transcription/upload_reply.h"

#include "transcription/duration_text.h"

namespace pellum {

UploadReply::UploadReply(std::size_t maxLineBytes, std::size_t maxTextBytes)
    : parser_([this](std::string_view event, std::string_view payload) { handleEvent(event, payload); },
              maxLineBytes),
      maxTextBytes_(maxTextBytes) {}

std::optional<UploadResult> UploadReply::feed(std::string_view bytes) {
  if (overflowed_) return std::nullopt;
  parser_.feed(bytes);
  if (parser_.overflowed()) {
    overflow("the reply has a line longer than " + sizeText(parser_.maxLineBytes()));
  }
  return std::exchange(pending_, std::nullopt);
}

void UploadReply::overflow(std::string reason) {
  if (std::exchange(overflowed_, true)) return;
  if (markCompleted()) pending_ = UploadResult::failure(TranscriptionError::serverError(std::move(reason)));
}

bool UploadReply::markCompleted() { return !std::exchange(completed_, true); }

void UploadReply::handleEvent(std::string_view event, std::string_view payload) {
  if (overflowed_) return;
  if (event == "raw") {
    rawText_ = decodeEventText(payload);
    if (rawText_.size() > maxTextBytes_)
      overflow("the transcript in the reply is larger than " + sizeText(maxTextBytes_));
  } else if (event == "chunk") {
    cleanedText_ += decodeEventText(payload);
    if (cleanedText_.size() > maxTextBytes_) {
      overflow("the transcript in the reply is larger than " + sizeText(maxTextBytes_));
    }
  } else if (event == "done") {
    if (markCompleted()) pending_ = UploadResult::success(cleanedText_.empty() ? rawText_ : cleanedText_);
  } else if (event == "error") {
    if (markCompleted()) {
      pending_ = UploadResult::failure(TranscriptionError::serverError(std::string(payload)));
    }
  }
}

}  // namespace pellum
