#include "connection_owner.h"

#include <gtest/gtest.h>

#include <bit>

namespace pellum::server {
namespace {

TcpEnd v4(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d, std::uint16_t port) {
  TcpEnd end;
  end.address[0] = a;
  end.address[1] = b;
  end.address[2] = c;
  end.address[3] = d;
  end.port = port;
  return end;
}

// A /proc/net/tcp as a little-endian kernel prints it: 127.0.0.1 is
// 0100007F. Port 3000 is 0BB8; 54321 is D431.
constexpr std::string_view kTable =
    "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode\n"
    "   0: 0100007F:0BB8 00000000:0000 0A 00000000:00000000 00:00000000 00000000     0        0 1111 1 0 100 "
    "0 0 10 0\n"
    "   1: 0100007F:D431 0100007F:0BB8 01 00000000:00000000 00:00000000 00000000  1000        0 2222 1 0 20 "
    "4 30 10 -1\n"
    "   2: 0100007F:0BB8 0100007F:D431 01 00000000:00000000 00:00000000 00000000     0        0 3333 1 0 20 "
    "4 30 10 -1\n";

TEST(ConnectionOwner, ThePeersSocketNamesItsOwner) {
  if constexpr (std::endian::native != std::endian::little)
    GTEST_SKIP() << "the table is a little-endian kernel's";
  EXPECT_EQ(socketOwner(kTable, v4(127, 0, 0, 1, 54321), v4(127, 0, 0, 1, 3000)), 1000u);
  // The server's own side of the same connection belongs to the server.
  EXPECT_EQ(socketOwner(kTable, v4(127, 0, 0, 1, 3000), v4(127, 0, 0, 1, 54321)), 0u);
}

TEST(ConnectionOwner, NoMatchingSocketNoOwner) {
  EXPECT_EQ(socketOwner(kTable, v4(127, 0, 0, 1, 40000), v4(127, 0, 0, 1, 3000)), std::nullopt);
  EXPECT_EQ(socketOwner(kTable, v4(10, 0, 0, 1, 54321), v4(127, 0, 0, 1, 3000)), std::nullopt);
  EXPECT_EQ(socketOwner("", v4(127, 0, 0, 1, 54321), v4(127, 0, 0, 1, 3000)), std::nullopt);
  EXPECT_EQ(socketOwner("garbage\n   1: zz:zz yy:yy\n", v4(127, 0, 0, 1, 54321), v4(127, 0, 0, 1, 3000)),
            std::nullopt);
}

TEST(ConnectionOwner, IPv6LoopbackIsReadWordByWord) {
  if constexpr (std::endian::native != std::endian::little)
    GTEST_SKIP() << "the table is a little-endian kernel's";
  // ::1 is three zero words and 01000000.
  constexpr std::string_view table =
      "  sl  local_address                         remote_address                        st tx_queue "
      "rx_queue tr "
      "tm->when retrnsmt   uid  timeout inode\n"
      "   0: 00000000000000000000000001000000:D431 00000000000000000000000001000000:0BB8 01 "
      "00000000:00000000 "
      "00:00000000 00000000  1001        0 4444 1 0 20 4 30 10 -1\n";
  TcpEnd peer, server;
  peer.v6 = server.v6 = true;
  peer.address[15] = server.address[15] = 1;
  peer.port = 54321;
  server.port = 3000;
  EXPECT_EQ(socketOwner(table, peer, server), 1001u);
}

}  // namespace
}  // namespace pellum::server
