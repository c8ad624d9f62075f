#include "trusted_proxy.h"

#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/address_v4.hpp>

#include <algorithm>

namespace pellum::server {
namespace {

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

// The address in the form clientAddress() gives: IPv4-mapped IPv6 as IPv4.
std::optional<std::string> normalised(std::string_view text) {
  boost::system::error_code ec;
  auto address = boost::asio::ip::make_address(std::string(trimmed(text)), ec);
  if (ec) return std::nullopt;
  if (address.is_v6() && address.to_v6().is_v4_mapped())
    address = boost::asio::ip::make_address_v4(boost::asio::ip::v4_mapped, address.to_v6());
  return address.to_string();
}

}  // namespace

std::optional<TrustedProxies> TrustedProxies::parse(std::string_view list) {
  TrustedProxies proxies;
  while (!list.empty()) {
    const auto comma = std::min(list.find(','), list.size());
    auto address = normalised(list.substr(0, comma));
    if (!address) return std::nullopt;
    proxies.addresses_.push_back(*address);
    list.remove_prefix(std::min(comma + 1, list.size()));
  }
  if (proxies.empty()) return std::nullopt;
  return proxies;
}

bool TrustedProxies::trusts(std::string_view peer) const {
  return std::find(addresses_.begin(), addresses_.end(), peer) != addresses_.end();
}

std::string TrustedProxies::clientOf(std::string_view peer,
                                     std::optional<std::string_view> forwardedFor) const {
  if (!trusts(peer) || !forwardedFor) return std::string(peer);
  const auto comma = forwardedFor->rfind(',');
  const auto last = comma == std::string_view::npos ? *forwardedFor : forwardedFor->substr(comma + 1);
  // A proxy that forwarded no usable address leaves the proxy as the client:
  // all such requests then share one budget, which errs on the safe side.
  return normalised(last).value_or(std::string(peer));
}

}  // namespace pellum::server
