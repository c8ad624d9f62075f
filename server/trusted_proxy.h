#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pellum::server {

// The reverse proxies (a load balancer in front of several servers) whose
// word this server takes. A connection from one of them is a request the
// proxy let through: its X-Forwarded-For names the client (for the limits
// against guessing), its Host is the public name the proxy checked, and who
// may approve pairings is for the proxy's own sign-in to decide.
class TrustedProxies {
 public:
  TrustedProxies() = default;
  // A comma-separated list of IP addresses; nothing when one is not an IP
  // address.
  static std::optional<TrustedProxies> parse(std::string_view list);

  bool empty() const { return addresses_.empty(); }
  // `peer` as clientAddress() writes it.
  bool trusts(std::string_view peer) const;
  // The client a request from `peer` came for: with a trusted peer, the last
  // address of X-Forwarded-For (the one the proxy itself added; earlier ones
  // are the client's own say), else the peer.
  std::string clientOf(std::string_view peer, std::optional<std::string_view> forwardedFor) const;

 private:
  std::vector<std::string> addresses_;  // normalised as clientAddress() does
};

}  // namespace pellum::server
