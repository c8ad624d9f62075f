#include "account/web_base.h"

#include "transcription/configured_address.h"

namespace pellum {

std::string resolveWebBase(const std::optional<std::string>& fromEnvironment,
                           const std::optional<std::string>& fromBuild) {
  return pickConfiguredAddress({fromEnvironment, fromBuild}, kDefaultWebURL);
}

std::string resolveUrlScheme(std::string_view fromBuild) {
  return fromBuild.empty() ? std::string("pellum") : std::string(fromBuild);
}

}  // namespace pellum
