// The system log on macOS is the unified logging system: Console and
// `log show --process Pellum` read it.
//
// - OS_LOG_DEFAULT: the process's default log object, so a warning is found
//   by the process name, as syslog's ident finds it on Linux; no subsystem
//   to configure.
// - OS_LOG_TYPE_DEFAULT: the level that is kept without any logging profile
//   installed (info and debug are not), without calling a warning an error.
// - "%{public}s": the unified log redacts dynamic strings as private unless
//   told otherwise, and the warning names a microphone, which is not a
//   secret the user would want hidden from their own Console.

#include <os/log.h>

#include "audio/system_log.h"

namespace pellum {

void writePlatformLogWarning(const std::string& message) {
  os_log_with_type(OS_LOG_DEFAULT, OS_LOG_TYPE_DEFAULT, "%{public}s", message.c_str());
}

}  // namespace pellum
