#include "account/token_item.h"

namespace pellum {

std::string tokenService(std::string_view appId) {
  return appId.empty() ? std::string("app.pellum.macos") : std::string(appId);
}

}  // namespace pellum
