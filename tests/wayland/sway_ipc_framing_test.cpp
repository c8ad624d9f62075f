#include "wayland/sway_ipc_framing.h"

#include <gtest/gtest.h>

namespace pellum::sway {
namespace {

TEST(SwayIpcFramingTest, AMessageComesBackWhole) {
  FrameReader reader;
  reader.append(encode(getInputs, "{}"));
  const auto message = reader.next();
  ASSERT_TRUE(message.has_value());
  EXPECT_EQ(message->type, static_cast<uint32_t>(getInputs));
  EXPECT_EQ(message->payload, "{}");
  EXPECT_FALSE(message->isEvent());
  EXPECT_FALSE(reader.next().has_value());
}

TEST(SwayIpcFramingTest, BytesArrivingInPiecesWaitForTheRest) {
  const std::string frames = encode(kBindingEvent, R"({"change":"run"})") + encode(runCommand, "[]");
  FrameReader reader;
  std::vector<Message> got;
  for (char byte : frames) {
    reader.append(std::string_view(&byte, 1));
    while (auto message = reader.next()) got.push_back(*message);
  }
  ASSERT_EQ(got.size(), 2u);
  EXPECT_TRUE(got[0].isEvent());
  EXPECT_EQ(got[0].payload, R"({"change":"run"})");
  EXPECT_EQ(got[1].payload, "[]");
}

TEST(SwayIpcFramingTest, BytesThatAreNotSwaysStopTheReader) {
  FrameReader reader;
  reader.append("HTTP/1.1 200 OK\r\n\r\n");
  EXPECT_FALSE(reader.next().has_value());
  EXPECT_TRUE(reader.failed());
}

TEST(SwayIpcFramingTest, AnOversizedPayloadStopsTheReader) {
  std::string frame = encode(getTree, "");
  const uint32_t huge = kMaxPayload + 1;
  frame.replace(6, 4, reinterpret_cast<const char*>(&huge), 4);
  FrameReader reader;
  reader.append(frame);
  EXPECT_FALSE(reader.next().has_value());
  EXPECT_TRUE(reader.failed());
}

}  // namespace
}  // namespace pellum::sway
