#pragma once

#include <functional>
#include <memory>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>

#include <chrono>

#include "log_throttle.h"

namespace pellum::server {

// Accepts connections on one address and hands each socket, bound to its
// own strand, to `onAccept`. Runs on the I/O threads. When accepting fails
// (out of file descriptors, most often) it waits before trying again,
// 10 ms doubling to 1 s, and logs the failure at most once a second.
class Listener : public std::enable_shared_from_this<Listener> {
 public:
  using Handler = std::function<void(boost::asio::ip::tcp::socket)>;

  static constexpr std::chrono::milliseconds kFirstBackoff{10};
  static constexpr std::chrono::milliseconds kLongestBackoff{1000};

  Listener(boost::asio::io_context& io, Handler onAccept)
      : io_(io),
        acceptor_(boost::asio::make_strand(io)),
        retry_(acceptor_.get_executor()),
        onAccept_(std::move(onAccept)) {}

  // Binds and listens; an error text on failure.
  std::string open(const boost::asio::ip::tcp::endpoint& endpoint);
  boost::asio::ip::tcp::endpoint endpoint() const;
  void start();
  void stop();

 private:
  void doAccept();
  void onAcceptFailed(const boost::system::error_code& ec);

  boost::asio::io_context& io_;
  boost::asio::ip::tcp::acceptor acceptor_;
  boost::asio::steady_timer retry_;
  std::chrono::milliseconds backoff_{0};
  LogThrottle failures_;
  Handler onAccept_;
};

}  // namespace pellum::server
