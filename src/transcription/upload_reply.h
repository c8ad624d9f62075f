#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "transcription/event_stream_parser.h"
#include "transcription/result.h"
#include "transcription/upload_error.h"

namespace pellum {

using UploadResult = Result<UploadError>;

// The upload route's event-stream reply turned into at most one result.
// "raw" replaces the raw text, "chunk" appends to the cleaned text, "done"
// gives the cleaned text (else the raw text), "error" gives serverError with
// the payload verbatim. After the first result, later events still update the
// texts but yield nothing; a stream that ends without "done" or "error"
// yields nothing at all.
//
// A reply past the limits (a line longer than the parser's limit, or a raw
// or cleaned text over kMaxTextBytes) overflows: it yields serverError if
// nothing came before, and stops reading, so memory stays bounded however
// long the server goes on.
class UploadReply {
 public:
  // Hours of speech; a reply this long is a server gone wrong.
  static constexpr std::size_t kMaxTextBytes = 1024 * 1024;

  explicit UploadReply(std::size_t maxLineBytes = EventStreamParser::kMaxLineBytes,
                       std::size_t maxTextBytes = kMaxTextBytes);

  UploadReply(const UploadReply&) = delete;
  UploadReply& operator=(const UploadReply&) = delete;

  // Feeds one delivery of body bytes; returns the result when this delivery
  // completed the reply.
  std::optional<UploadResult> feed(std::string_view bytes);

  // Marks the reply completed from outside (a 401 or a transport error), so
  // that no later event produces a second result. Returns false when it was
  // already completed.
  bool markCompleted();

  bool completed() const { return completed_; }
  // Whether the reply ran past a limit; the caller should stop reading.
  bool overflowed() const { return overflowed_; }
  const std::string& rawText() const { return rawText_; }
  const std::string& cleanedText() const { return cleanedText_; }

 private:
  void handleEvent(std::string_view event, std::string_view payload);
  void overflow(std::string reason);

  EventStreamParser parser_;
  std::size_t maxTextBytes_;
  bool overflowed_ = false;
  std::string rawText_;
  std::string cleanedText_;
  bool completed_ = false;
  std::optional<UploadResult> pending_;
};

}  // namespace pellum
