#pragma once

#include <utility>  // before Asio, for GCC 12

#include <boost/asio/ip/tcp.hpp>
#include <string>

namespace pellum::server {

// The peer's address as one text per client, whatever its port: IPv4 peers
// of a dual-stack listener (::ffff:a.b.c.d) as a.b.c.d. Empty when the socket
// no longer has a peer.
inline std::string clientAddress(const boost::asio::ip::tcp::socket& socket) {
  boost::system::error_code ec;
  auto address = socket.remote_endpoint(ec).address();
  if (ec) return {};
  if (address.is_v6() && address.to_v6().is_v4_mapped())
    address = boost::asio::ip::make_address_v4(boost::asio::ip::v4_mapped, address.to_v6());
  return address.to_string();
}

}  // namespace pellum::server
