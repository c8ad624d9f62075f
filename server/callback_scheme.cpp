#include "callback_scheme.h"

#include <array>

#include "query_string.h"

namespace pellum::server {

bool isAllowedCallbackScheme(std::string_view scheme) {
  if (scheme.empty() || scheme.front() < 'a' || scheme.front() > 'z') return false;
  for (char c : scheme) {
    const bool allowed = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '.' || c == '-';
    if (!allowed) return false;
  }
  // Schemes a browser loads as a page, runs as script, or hands to a
  // program other than the one pairing: a code sent there could be read by
  // someone else.
  constexpr std::array<std::string_view, 36> kNotApps{
      "about",       "blob",          "chrome",     "chrome-extension",
      "content",     "data",          "dav",        "facetime",
      "file",        "filesystem",    "ftp",        "ftps",
      "gopher",      "http",          "https",      "intent",
      "irc",         "jar",           "javascript", "ldap",
      "mailto",      "moz-extension", "news",       "nfs",
      "resource",    "rtsp",          "sftp",       "sms",
      "smb",         "ssh",           "tel",        "telnet",
      "view-source", "vbscript",      "ws",         "wss"};
  for (auto notApp : kNotApps) {
    if (scheme == notApp) return false;
  }
  return true;
}

std::string pairingRedirect(std::string_view scheme, std::string_view code, std::string_view state) {
  return std::string(scheme) + "://paired?code=" + percentEncode(code) + "&state=" + percentEncode(state);
}

}  // namespace pellum::server
