#include "html_pages.h"

#include <ctime>

namespace pellum::server {
namespace {

std::string page(std::string_view title, std::string_view body) {
  return "<!doctype html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"
         "<title>" +
         htmlEscape(title) +
         "</title>"
         "<style>body{font-family:system-ui,sans-serif;max-width:40em;margin:2em auto;padding:0 1em}"
         "table{border-collapse:collapse;width:100%}td,th{text-align:left;padding:.3em "
         ".5em;border-bottom:1px solid #ddd}"
         "button{font-size:1em;padding:.4em 1em}</style></head><body>\n" +
         std::string(body) + "\n</body></html>\n";
}

std::string hidden(std::string_view name, std::string_view value) {
  return "<input type=\"hidden\" name=\"" + htmlEscape(name) + "\" value=\"" + htmlEscape(value) + "\">";
}

std::string dateText(std::int64_t seconds) {
  if (seconds == 0) return "never";
  const std::time_t time = seconds;
  std::tm parts{};
  gmtime_r(&time, &parts);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M UTC", &parts);
  return text;
}

std::string deviceRow(const Device& device, std::string_view formToken) {
  std::string row = "<tr><td>" + std::to_string(device.id) + "</td><td>" + htmlEscape(device.name) +
                    "</td><td>" + htmlEscape(device.platform) + "</td><td>" + dateText(device.created) +
                    "</td><td>" + dateText(device.lastSeen) + "</td><td>";
  if (device.revoked) {
    row += "revoked";
  } else {
    row += "<form method=\"post\" action=\"/devices/revoke\">" + hidden("id", std::to_string(device.id)) +
           hidden("csrf", formToken) + "<button type=\"submit\">Revoke</button></form>";
  }
  return row + "</td></tr>\n";
}

}  // namespace

std::string htmlEscape(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      default:
        out.push_back(c);
    }
  }
  return out;
}

std::string homePage(const std::vector<Device>& devices, std::string_view formToken) {
  std::string body = "<h1>Pellum</h1>\n<h2>Paired devices</h2>\n";
  if (devices.empty()) {
    body += "<p>No devices are paired yet. Choose Sign In in Pellum's menu to pair this computer.</p>";
  } else {
    body +=
        "<table><tr><th>ID</th><th>Name</th><th>Platform</th><th>Paired</th><th>Last "
        "used</th><th></th></tr>\n";
    for (const auto& device : devices) body += deviceRow(device, formToken);
    body += "</table>";
  }
  return page("Pellum", body);
}

std::string pairingPage(const PairingQuery& query, std::string_view formToken) {
  std::string body =
      "<h1>Pair a device</h1>\n<p>The device <strong>" + htmlEscape(query.deviceName) + "</strong> (" +
      htmlEscape(query.platform) +
      ") asks to use this server for dictation. Approve only if you just started the sign-in on it.</p>\n"
      "<form method=\"post\" action=\"/devices/pair\">" +
      hidden("code_challenge", query.codeChallenge) + hidden("state", query.state) +
      hidden("device_name", query.deviceName) + hidden("platform", query.platform) +
      hidden("url_scheme", query.urlScheme) + hidden("csrf", formToken) +
      "<button type=\"submit\">Approve</button></form>";
  return page("Pair a device", body);
}

std::string messagePage(std::string_view title, std::string_view text) {
  return page(title, "<h1>" + htmlEscape(title) + "</h1>\n<p>" + htmlEscape(text) + "</p>");
}

}  // namespace pellum::server
