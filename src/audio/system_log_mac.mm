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

#include <mutex>
#include <utility>

#include "audio/system_log.h"

namespace pellum {
namespace {

std::mutex writerLock;
SystemLogWriter& writer() {
  static SystemLogWriter instance;
  return instance;
}

}  // namespace

void writeSystemLogWarning(const std::string& message) {
  {
    std::lock_guard guard(writerLock);
    if (writer()) return writer()(message);
  }
  os_log_with_type(OS_LOG_DEFAULT, OS_LOG_TYPE_DEFAULT, "%{public}s", message.c_str());
}

SystemLogWriter setSystemLogWriter(SystemLogWriter replacement) {
  std::lock_guard guard(writerLock);
  return std::exchange(writer(), std::move(replacement));
}

}  // namespace pellum
