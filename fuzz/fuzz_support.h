#pragma once

// Helpers shared by the fuzz targets: a check that stops the run where
// libFuzzer can see it, and the chunkings a peer may deliver bytes in.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace pellum::fuzz {

// Aborts with `what` when `ok` is false, so libFuzzer keeps the input as a
// crash. Always on: the fuzz build is not a release build.
inline void require(bool ok, const char* what) {
  if (ok) return;
  std::fprintf(stderr, "fuzz check failed: %s\n", what);
  std::abort();
}

inline std::string_view asText(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// Chunk lengths drawn from the input's own hash, so a saved crash input
// replays with the same split points and no extra file.
class SplitPoints {
 public:
  explicit SplitPoints(std::string_view bytes) {
    state_ = 1469598103934665603ull;  // FNV-1a
    for (unsigned char c : bytes) state_ = (state_ ^ c) * 1099511628211ull;
    if (state_ == 0) state_ = 1;
  }

  // A length from 1 to `remaining`: mostly short, now and then long.
  std::size_t next(std::size_t remaining) {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    const std::size_t limit = (state_ & 7) == 0 ? 256 : 8;
    const std::size_t length = 1 + static_cast<std::size_t>((state_ >> 8) % limit);
    return length < remaining ? length : remaining;
  }

 private:
  std::uint64_t state_;
};

// `bytes` cut anywhere, as TCP reads cut a stream: chunk boundaries may fall
// inside a multi-byte character.
inline std::vector<std::string_view> anyChunks(std::string_view bytes) {
  SplitPoints points(bytes);
  std::vector<std::string_view> chunks;
  while (!bytes.empty()) {
    const std::size_t length = points.next(bytes.size());
    chunks.push_back(bytes.substr(0, length));
    bytes.remove_prefix(length);
  }
  return chunks;
}

// `bytes` cut only before the first byte of a UTF-8 sequence, so every chunk
// of a valid text is valid on its own.
inline std::vector<std::string_view> characterChunks(std::string_view bytes) {
  SplitPoints points(bytes);
  std::vector<std::string_view> chunks;
  while (!bytes.empty()) {
    std::size_t length = points.next(bytes.size());
    while (length < bytes.size() && (static_cast<unsigned char>(bytes[length]) & 0xC0) == 0x80) ++length;
    chunks.push_back(bytes.substr(0, length));
    bytes.remove_prefix(length);
  }
  return chunks;
}

}  // namespace pellum::fuzz
