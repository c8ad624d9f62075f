// Who is at the other end of a loopback connection, from the kernel's
// socket table: the peer's socket is in /proc/net/tcp (or tcp6) with its
// owner's user id, like any other socket on this machine.

#include <unistd.h>

#include <fstream>
#include <sstream>

#include "connection_owner.h"

namespace pellum::server {

std::optional<unsigned> localPeerOwner(const TcpEnd& server, const TcpEnd& peer) {
  std::ifstream table(peer.v6 ? "/proc/net/tcp6" : "/proc/net/tcp");
  if (!table) return std::nullopt;
  std::ostringstream text;
  text << table.rdbuf();
  // The peer's socket has the peer's end as its local end.
  return socketOwner(text.str(), peer, server);
}

unsigned serverUser() { return static_cast<unsigned>(getuid()); }

}  // namespace pellum::server
