#pragma once

#include <string>
#include <string_view>

namespace pellum {

// Orders version strings as an update feed writes them ("1.2", "1.10.3",
// "2.0b2", "120"): runs of digits compare as numbers, runs of letters as
// text, separators ('.', '-', '+', '_', ' ') only split. "1.2" and "1.2.0"
// are the same version. A trailing letter run marks a pre-release, so
// "2.0b2" < "2.0" < "2.0.1".
// Negative when `a` is older than `b`, zero when the same, positive when newer.
int compareVersions(std::string_view a, std::string_view b);

// True when `version` holds at least one digit: something a feed can
// compare, not an empty or wordy field.
bool isComparableVersion(std::string_view version);

}  // namespace pellum
