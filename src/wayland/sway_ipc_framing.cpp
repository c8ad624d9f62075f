#include "wayland/sway_ipc_framing.h"

#include <cstring>

namespace pellum::sway {
namespace {

constexpr std::string_view kMagic = "i3-ipc";
constexpr size_t kHeaderSize = kMagic.size() + 2 * sizeof(uint32_t);

}  // namespace

std::string encode(uint32_t type, std::string_view payload) {
  std::string frame(kMagic);
  const auto length = static_cast<uint32_t>(payload.size());
  frame.append(reinterpret_cast<const char*>(&length), sizeof length);
  frame.append(reinterpret_cast<const char*>(&type), sizeof type);
  frame.append(payload);
  return frame;
}

std::optional<Message> FrameReader::next() {
  if (failed_ || buffer_.size() < kHeaderSize) return std::nullopt;
  if (std::string_view(buffer_).substr(0, kMagic.size()) != kMagic) {
    failed_ = true;
    return std::nullopt;
  }
  uint32_t length = 0;
  uint32_t type = 0;
  std::memcpy(&length, buffer_.data() + kMagic.size(), sizeof length);
  std::memcpy(&type, buffer_.data() + kMagic.size() + sizeof length, sizeof type);
  if (length > kMaxPayload) {
    failed_ = true;
    return std::nullopt;
  }
  if (buffer_.size() < kHeaderSize + length) return std::nullopt;
  Message message{type, buffer_.substr(kHeaderSize, length)};
  buffer_.erase(0, kHeaderSize + length);
  return message;
}

}  // namespace pellum::sway
