#include "audio/pcm_chunker.h"

#include <utility>

namespace pellum {

std::vector<std::string> PcmChunker::append(std::string_view bytes) {
  pending_.append(bytes);
  std::vector<std::string> chunks;
  std::size_t at = 0;
  while (pending_.size() - at >= chunkBytes_) {
    chunks.emplace_back(pending_, at, chunkBytes_);
    at += chunkBytes_;
  }
  pending_.erase(0, at);
  return chunks;
}

std::string PcmChunker::takeRemainder() { return std::exchange(pending_, {}); }

}  // namespace pellum
