#include "pairing_browser.h"

#include <regex>

#include "query_string.h"
#include "route_client.h"

namespace pellum::test {
namespace {

std::string htmlUnescape(std::string value) {
  for (const auto& [escaped, plain] :
       {std::pair{"&#39;", "'"}, {"&quot;", "\""}, {"&lt;", "<"}, {"&gt;", ">"}, {"&amp;", "&"}}) {
    for (auto at = value.find(escaped); at != std::string::npos; at = value.find(escaped, at + 1)) {
      value.replace(at, std::string(escaped).size(), plain);
    }
  }
  return value;
}

}  // namespace

std::map<std::string, std::string> queryItems(const std::string& url) {
  const auto question = url.find('?');
  if (question == std::string::npos) return {};
  const auto items = server::parseQuery(url.substr(question + 1));
  return {items.begin(), items.end()};
}

std::string approveInBrowser(unsigned short webPort, const std::string& pairingURL) {
  const std::string origin = "http://127.0.0.1:" + std::to_string(webPort);
  if (!pairingURL.starts_with(origin + "/")) return {};
  const auto page = server::test::httpRequest(webPort, "GET", pairingURL.substr(origin.size()));
  if (page.status != 200) return {};
  std::string form;
  const std::regex hidden(R"re(<input type="hidden" name="([^"]*)" value="([^"]*)">)re");
  for (auto it = std::sregex_iterator(page.body.begin(), page.body.end(), hidden);
       it != std::sregex_iterator(); ++it) {
    form += (form.empty() ? "" : "&") + server::percentEncode(htmlUnescape((*it)[1])) + "=" +
            server::percentEncode(htmlUnescape((*it)[2]));
  }
  const auto approved = server::test::httpRequest(webPort, "POST", "/devices/pair",
                                                  {{"Content-Type", "application/x-www-form-urlencoded"},
                                                   {"Origin", origin},
                                                   {"Sec-Fetch-Site", "same-origin"}},
                                                  form);
  if (approved.status != 303 || !approved.headers.count("location")) return {};
  return approved.headers.at("location");
}

}  // namespace pellum::test
