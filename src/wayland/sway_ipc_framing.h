#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pellum::sway {

// sway's IPC messages (the i3 framing): "i3-ipc", the payload's length and
// the message type as native 32-bit integers, then the JSON payload.
// Replies carry the type of their request; events have the high bit set.

enum MessageType : uint32_t {
  runCommand = 0,
  subscribe = 2,
  getTree = 4,
  getVersion = 7,
  getInputs = 100,
};

constexpr uint32_t kEventBit = 0x80000000u;
constexpr uint32_t kBindingEvent = kEventBit | 5u;
constexpr uint32_t kInputEvent = kEventBit | 21u;

// A peer that sends a bigger payload is not sway: the connection is dropped.
constexpr uint32_t kMaxPayload = 16u * 1024u * 1024u;

struct Message {
  uint32_t type = 0;
  std::string payload;

  bool isEvent() const { return (type & kEventBit) != 0; }
};

std::string encode(uint32_t type, std::string_view payload);

// Cuts a byte stream into messages.
class FrameReader {
 public:
  void append(std::string_view bytes) { buffer_.append(bytes); }
  // The next whole message, if one has arrived.
  std::optional<Message> next();
  // The stream is not sway's (bad magic or an oversized payload); nothing
  // more comes out.
  bool failed() const { return failed_; }

 private:
  std::string buffer_;
  bool failed_ = false;
};

}  // namespace pellum::sway
