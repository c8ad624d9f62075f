#include "audio/system_log.h"

#include <syslog.h>

#include <mutex>
#include <utility>

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
  openlog("pellum", LOG_PID, LOG_USER);
  syslog(LOG_WARNING, "%s", message.c_str());
  closelog();
}

SystemLogWriter setSystemLogWriter(SystemLogWriter replacement) {
  std::lock_guard guard(writerLock);
  return std::exchange(writer(), std::move(replacement));
}

}  // namespace pellum
