#pragma once

#include <boost/beast/http/error.hpp>
#include <boost/beast/http/status.hpp>

#include <optional>

namespace pellum::server {

// What a request that could not be parsed gets: a status and a short reason,
// then the connection closes. Nothing for failures that are no fault of the
// request's bytes (a timeout, a peer that went away), which are just closed.
struct HttpRefusal {
  boost::beast::http::status status;
  const char* reason;
};

inline std::optional<HttpRefusal> refusalFor(const boost::system::error_code& ec) {
  namespace http = boost::beast::http;
  if (ec.category() != http::make_error_code(http::error::bad_method).category()) return std::nullopt;
  switch (static_cast<http::error>(ec.value())) {
    case http::error::end_of_stream:
    case http::error::partial_message:
    case http::error::need_more:
    case http::error::need_buffer:
    case http::error::buffer_overflow:
      return std::nullopt;
    case http::error::header_limit:
      return HttpRefusal{http::status::request_header_fields_too_large, "request header too large"};
    case http::error::body_limit:
      return HttpRefusal{http::status::payload_too_large, "request body too large"};
    default:
      return HttpRefusal{http::status::bad_request, "malformed request"};
  }
}

// A Transfer-Encoding other than chunked leaves the body's length unknown;
// reading on would take the body for the next request.
template <class Fields>
bool hasUnreadableTransferEncoding(const Fields& fields, bool chunked) {
  return fields.find(boost::beast::http::field::transfer_encoding) != fields.end() && !chunked;
}

}  // namespace pellum::server
