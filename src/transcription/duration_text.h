#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace pellum {

// "20 s" for whole seconds, "300 ms" otherwise: deadlines in error texts,
// where tests use short ones.
inline std::string durationText(std::chrono::milliseconds duration) {
  if (duration.count() % 1000 == 0) return std::to_string(duration.count() / 1000) + " s";
  return std::to_string(duration.count()) + " ms";
}

// "1 MiB" for whole mebibytes, "512 bytes" otherwise: limits in error texts.
inline std::string sizeText(std::size_t bytes) {
  constexpr std::size_t kMiB = 1024 * 1024;
  if (bytes % kMiB == 0) return std::to_string(bytes / kMiB) + " MiB";
  return std::to_string(bytes) + " bytes";
}

}  // namespace pellum
