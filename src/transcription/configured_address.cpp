#include "transcription/configured_address.h"

namespace pellum {

std::string pickConfiguredAddress(const std::vector<std::optional<std::string>>& candidates,
                                  std::string_view fallback) {
  for (const auto& candidate : candidates) {
    if (!candidate || candidate->empty() || candidate->starts_with("$(")) continue;
    return *candidate;
  }
  return std::string(fallback);
}

}  // namespace pellum
