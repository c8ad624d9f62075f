#pragma once

#include <functional>
#include <memory>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/strand.hpp>

namespace pellum::server {

// Accepts connections on one address and hands each socket, bound to its
// own strand, to `onAccept`. Runs on the I/O threads.
class Listener : public std::enable_shared_from_this<Listener> {
 public:
  using Handler = std::function<void(boost::asio::ip::tcp::socket)>;

  Listener(boost::asio::io_context& io, Handler onAccept) : io_(io), acceptor_(boost::asio::make_strand(io)), onAccept_(std::move(onAccept)) {}

  // Binds and listens; an error text on failure.
  std::string open(const boost::asio::ip::tcp::endpoint& endpoint);
  boost::asio::ip::tcp::endpoint endpoint() const;
  void start();
  void stop();

 private:
  void doAccept();

  boost::asio::io_context& io_;
  boost::asio::ip::tcp::acceptor acceptor_;
  Handler onAccept_;
};

}  // namespace pellum::server
