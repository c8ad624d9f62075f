#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "audio/dictation_format.h"

namespace pellum {

// Cuts a byte stream into fixed-size chunks. Bytes that do not fill a whole
// chunk wait for the next append; `takeRemainder` hands them out at the end.
class PcmChunker {
 public:
  // A dictation's 30 ms chunk, the detector's frame.
  static constexpr std::size_t kChunkBytes = kDictationChunkBytes;

  explicit PcmChunker(std::size_t chunkBytes = kChunkBytes) : chunkBytes_(chunkBytes) {}

  // Appends `bytes` and returns every chunk they complete, in order.
  std::vector<std::string> append(std::string_view bytes);

  // The bytes not yet cut into a chunk (fewer than a chunk); leaves none.
  std::string takeRemainder();

  std::size_t pending() const { return pending_.size(); }
  void reset() { pending_.clear(); }

 private:
  std::size_t chunkBytes_;
  std::string pending_;
};

}  // namespace pellum
