#pragma once

#include <cstddef>
#include <optional>

namespace pellum::server {

// Decides where live dictation is cut into pieces for a service that only
// transcribes whole recordings: in the middle of a pause that follows
// speech, so no word is split, and never before a piece is `minFrames` long
// (services that bill a minimum per request). Fed one voice flag per frame
// of the current piece; pure, not thread-safe.
class PauseSplitter {
 public:
  PauseSplitter(std::size_t minFrames, std::size_t pauseFrames);

  // Takes the next frame's flag. When a piece is complete: how many frames
  // from the piece's start it holds; the frames after them begin the next
  // piece, whose counting starts over.
  std::optional<std::size_t> push(bool voice);

  // Whether the current piece holds a voiced frame.
  bool heardVoice() const { return voiced_; }

 private:
  std::size_t minFrames_;
  std::size_t pauseFrames_;
  std::size_t frames_ = 0;     // in the current piece
  std::size_t silentRun_ = 0;  // unvoiced frames at its end
  bool voiced_ = false;
};

}  // namespace pellum::server
