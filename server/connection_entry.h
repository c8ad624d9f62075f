#pragma once

#include <string>
#include <utility>
#include <vector>

#include <boost/asio/ip/tcp.hpp>

#include "server_context.h"

namespace pellum::server {

// Serves one accepted connection on the transcription port: the upload route
// and the live route's WebSocket upgrade. Runs on the socket's strand.
void startTranscribeSession(boost::asio::ip::tcp::socket socket, ServerContext& context);

// Serves one accepted connection on the web port: account home, pairing
// pages and the code exchange.
void startWebSession(boost::asio::ip::tcp::socket socket, ServerContext& context);

// The upgrade request of a live session, as read by the HTTP side; the token
// was already checked.
struct UpgradeRequest {
  std::string target;
  std::vector<std::pair<std::string, std::string>> fields;
  std::string deviceId;  // for the log line
};

// Takes a socket whose upgrade request was read and accepted for a live
// session: answers the handshake and runs the session.
void startLiveSession(boost::asio::ip::tcp::socket socket, UpgradeRequest request, ServerContext& context);

}  // namespace pellum::server
