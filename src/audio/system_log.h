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

// The platform's own log, whatever writer is set: syslog
// (system_log_posix.cpp) or the unified log (system_log_mac.mm).
void writePlatformLogWarning(const std::string& message);

}  // namespace pellum
