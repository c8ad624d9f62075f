#pragma once

#include <functional>
#include <string>

namespace pellum {

// Writes one warning line to the system log (journald or syslog), not to
// standard output.
void writeSystemLogWarning(const std::string& message);

// Where the warnings go instead (tests watch them this way); an empty writer
// puts the system log back. Returns the writer it replaces.
using SystemLogWriter = std::function<void(const std::string& message)>;
SystemLogWriter setSystemLogWriter(SystemLogWriter writer);

}  // namespace pellum
