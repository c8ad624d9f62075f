#include <cstdlib>

#include "base/desktop_session.h"

namespace pellum {

DesktopSession currentDesktopSession() {
  return desktopSessionFrom([](const char* name) {
    const char* value = std::getenv(name);
    return value ? std::string(value) : std::string();
  });
}

std::string currentBackend(Capability capability) {
  const char* override = std::getenv(overrideVariable(capability));
  return chooseBackend(capability, currentDesktopSession(), override ? override : "");
}

}  // namespace pellum
