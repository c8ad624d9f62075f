#include "decoder_budget.h"

#include <algorithm>

namespace pellum::server {

int defaultDecoderCount(std::uint64_t availableBytes, int cores) {
  const std::uint64_t byCores = static_cast<std::uint64_t>(std::max(cores, 1)) * kLiveStreamsPerCore;
  const std::uint64_t byMemory = availableBytes == 0 ? 8 : availableBytes / 2 / kDecoderBytes;
  return static_cast<int>(std::clamp<std::uint64_t>(std::min(byCores, byMemory), 1, 256));
}

}  // namespace pellum::server
