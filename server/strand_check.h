#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/strand.hpp>

namespace pellum::server {

// Whether the calling thread is running a handler of the connection strand
// behind `executor` (the listeners give every socket one). For assertions.
inline bool onConnectionStrand(const boost::asio::any_io_executor& executor) {
  const auto* strand = executor.target<boost::asio::strand<boost::asio::io_context::executor_type>>();
  return strand && strand->running_in_this_thread();
}

}  // namespace pellum::server
