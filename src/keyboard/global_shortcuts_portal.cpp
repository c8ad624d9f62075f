#include "keyboard/global_shortcuts_portal.h"

namespace pellum {

std::string portalHandleToken(std::uint32_t n) { return "pellum_" + std::to_string(n); }

std::string portalRequestPath(std::string_view uniqueName, std::string_view token) {
  std::string sender;
  for (char c : uniqueName) {
    if (c == ':') continue;
    sender.push_back(c == '.' ? '_' : c);
  }
  return "/org/freedesktop/portal/desktop/request/" + sender + "/" + std::string(token);
}

}  // namespace pellum
