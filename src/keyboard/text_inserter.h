#pragma once

#include <memory>
#include <string>

namespace pellum {

// Puts a finished transcript into the focused application as one paste:
// the clipboard's plain text is kept, the transcript written in its place,
// the paste keystroke synthesised, and half a second later the old text is
// put back (or the clipboard emptied when it held no text). The text is
// pasted exactly as given; nothing is added or removed. No failure is
// reported: an application that refuses the paste simply gets nothing.
//
// Main thread only; the restore runs there too.
class TextInserter {
 public:
  static constexpr int kRestoreDelayMs = 500;

  virtual ~TextInserter() = default;
  virtual void insert(const std::string& text) = 0;

  // Why pasting does not work (fully) in this session, in words for the
  // user; empty when it works.
  virtual std::string unavailableReason() const { return {}; }

  // The backend for the running platform.
  static std::unique_ptr<TextInserter> create();
};

}  // namespace pellum
