#include "listener.h"

#include <algorithm>

#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>

#include "server_log.h"

namespace pellum::server {

namespace net = boost::asio;
using tcp = net::ip::tcp;

std::string Listener::open(const tcp::endpoint& endpoint) {
  boost::system::error_code ec;
  acceptor_.open(endpoint.protocol(), ec);
  if (!ec) acceptor_.set_option(net::socket_base::reuse_address(true), ec);
  if (!ec) acceptor_.bind(endpoint, ec);
  if (!ec) acceptor_.listen(net::socket_base::max_listen_connections, ec);
  if (ec)
    return "cannot listen on " + endpoint.address().to_string() + ":" + std::to_string(endpoint.port()) +
           ": " + ec.message();
  return {};
}

tcp::endpoint Listener::endpoint() const {
  boost::system::error_code ec;
  return acceptor_.local_endpoint(ec);
}

void Listener::start() { doAccept(); }

void Listener::stop() {
  net::post(acceptor_.get_executor(), [self = shared_from_this()] {
    boost::system::error_code ec;
    self->acceptor_.close(ec);
    self->retry_.cancel();
  });
}

void Listener::doAccept() {
  acceptor_.async_accept(net::make_strand(io_),
                         [self = shared_from_this()](boost::system::error_code ec, tcp::socket socket) {
                           if (ec == net::error::operation_aborted || !self->acceptor_.is_open()) return;
                           if (ec) return self->onAcceptFailed(ec);
                           self->backoff_ = std::chrono::milliseconds(0);
                           // Replies are several small writes (raw, chunks, done): with
                           // Nagle's algorithm each waits for the client's delayed ack.
                           boost::system::error_code ignored;
                           socket.set_option(tcp::no_delay(true), ignored);
                           self->onAccept_(std::move(socket));
                           self->doAccept();
                         });
}

// The connection that could not be accepted stays queued, so trying again at
// once fails again at once: the listener would spin and fill the log.
void Listener::onAcceptFailed(const boost::system::error_code& ec) {
  for (const auto& line : failures_.note("accept failed: " + ec.message(), LogThrottle::Clock::now()))
    logLine(line);
  backoff_ = backoff_.count() == 0 ? kFirstBackoff : std::min(backoff_ * 2, kLongestBackoff);
  retry_.expires_after(backoff_);
  retry_.async_wait([self = shared_from_this()](boost::system::error_code waited) {
    if (waited || !self->acceptor_.is_open()) return;
    self->doAccept();
  });
}

}  // namespace pellum::server
