#include "connection_owner.h"

#include <bit>
#include <charconv>
#include <cstring>

namespace pellum::server {
namespace {

// "0100007F:0BB8": the address as 32-bit words in the kernel's memory
// order, each printed as a hex number, then the port.
std::optional<TcpEnd> parseEnd(std::string_view text, bool v6) {
  const std::size_t colon = text.find(':');
  const std::size_t words = v6 ? 4 : 1;
  if (colon != words * 8) return std::nullopt;
  TcpEnd end;
  end.v6 = v6;
  for (std::size_t i = 0; i < words; ++i) {
    std::uint32_t word = 0;
    const char* first = text.data() + i * 8;
    if (std::from_chars(first, first + 8, word, 16).ptr != first + 8) return std::nullopt;
    // The kernel printed the word as it sits in memory, so its bytes in
    // this machine's order are the address's bytes in network order.
    std::memcpy(end.address.data() + i * 4, &word, 4);
  }
  const std::string_view port = text.substr(colon + 1);
  if (std::from_chars(port.data(), port.data() + port.size(), end.port, 16).ptr !=
      port.data() + port.size()) {
    return std::nullopt;
  }
  return end;
}

std::string_view nextField(std::string_view& line) {
  const std::size_t start = line.find_first_not_of(' ');
  if (start == std::string_view::npos) {
    line = {};
    return {};
  }
  line.remove_prefix(start);
  const std::size_t stop = line.find(' ');
  const std::string_view field = line.substr(0, stop);
  line.remove_prefix(stop == std::string_view::npos ? line.size() : stop);
  return field;
}

}  // namespace

std::optional<unsigned> socketOwner(std::string_view procNetTcp, const TcpEnd& local, const TcpEnd& remote) {
  while (!procNetTcp.empty()) {
    const std::size_t newline = procNetTcp.find('\n');
    std::string_view line = procNetTcp.substr(0, newline);
    procNetTcp.remove_prefix(newline == std::string_view::npos ? procNetTcp.size() : newline + 1);
    // sl local_address rem_address st tx:rx tr:when retrnsmt uid ...
    nextField(line);
    const auto localEnd = parseEnd(nextField(line), local.v6);
    const auto remoteEnd = parseEnd(nextField(line), local.v6);
    if (!localEnd || !remoteEnd || *localEnd != local || *remoteEnd != remote) continue;
    for (int skip = 0; skip < 4; ++skip) nextField(line);
    const std::string_view uidText = nextField(line);
    unsigned uid = 0;
    if (std::from_chars(uidText.data(), uidText.data() + uidText.size(), uid).ptr !=
        uidText.data() + uidText.size()) {
      return std::nullopt;
    }
    return uid;
  }
  return std::nullopt;
}

}  // namespace pellum::server
