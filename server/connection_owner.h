#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace pellum::server {

// One end of a TCP connection: an IPv4 or IPv6 address in network byte
// order (IPv4 in the first four bytes) and a port.
struct TcpEnd {
  bool v6 = false;
  std::array<std::uint8_t, 16> address{};
  std::uint16_t port = 0;

  bool operator==(const TcpEnd&) const = default;
};

// The user id that owns the socket whose local end is `local` and whose
// remote end is `remote`, read from the text of /proc/net/tcp (or tcp6 for
// IPv6 ends), whose addresses are the kernel's in-memory words printed in
// hex. Nothing when no line matches.
std::optional<unsigned> socketOwner(std::string_view procNetTcp, const TcpEnd& local, const TcpEnd& remote);

// The user id of the process on this machine at the other end of the
// connection the server accepted (`peer` connected to `server`): the owner
// of the peer's socket. Nothing when the peer is not on this machine or
// the kernel does not say.
std::optional<unsigned> localPeerOwner(const TcpEnd& server, const TcpEnd& peer);

// The user running this server.
unsigned serverUser();

}  // namespace pellum::server
