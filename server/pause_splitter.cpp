#include "pause_splitter.h"

#include <algorithm>

namespace pellum::server {

PauseSplitter::PauseSplitter(std::size_t minFrames, std::size_t pauseFrames)
    : minFrames_(minFrames), pauseFrames_(std::max<std::size_t>(pauseFrames, 2)) {}

std::optional<std::size_t> PauseSplitter::push(bool voice) {
  ++frames_;
  if (voice) {
    voiced_ = true;
    silentRun_ = 0;
    return std::nullopt;
  }
  ++silentRun_;
  if (!voiced_ || silentRun_ < pauseFrames_) return std::nullopt;
  const std::size_t cut = frames_ - silentRun_ / 2;
  if (cut < minFrames_) return std::nullopt;
  frames_ -= cut;
  silentRun_ = frames_;
  voiced_ = false;
  return cut;
}

}  // namespace pellum::server
