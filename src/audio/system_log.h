#pragma once

#include <string>

namespace pellum {

// Writes one warning line to the system log (journald or syslog), not to
// standard output.
void writeSystemLogWarning(const std::string& message);

}  // namespace pellum
