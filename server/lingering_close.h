#pragma once

#include <utility>  // before Asio, for GCC 12

#include <boost/beast/core.hpp>

#include <array>
#include <chrono>
#include <memory>

namespace pellum::server {

// What a connection keeps for its lingering close: the bytes a client still
// sends after our last reply are read into it and dropped.
using DrainBuffer = std::array<char, 16 * 1024>;

// Reads and drops until the client closes (or the stream's deadline
// passes), keeping `owner` alive meanwhile.
template <class Owner>
void drainUntilClosed(std::shared_ptr<Owner> owner, boost::beast::tcp_stream& stream, DrainBuffer& buffer) {
  stream.async_read_some(boost::asio::buffer(buffer),
                         [owner, &stream, &buffer](boost::beast::error_code ec, std::size_t) mutable {
                           if (!ec) drainUntilClosed(std::move(owner), stream, buffer);
                         });
}

// Half-closes, then reads until the client closes too, for at most 5 s:
// closing with unread bytes would reset the connection and could destroy
// the reply in flight (a refusal of a request the client is still sending).
template <class Owner>
void closeLingering(std::shared_ptr<Owner> owner, boost::beast::tcp_stream& stream, DrainBuffer& buffer) {
  boost::beast::error_code ec;
  stream.socket().shutdown(boost::asio::ip::tcp::socket::shutdown_send, ec);
  stream.expires_after(std::chrono::seconds(5));
  drainUntilClosed(std::move(owner), stream, buffer);
}

}  // namespace pellum::server
