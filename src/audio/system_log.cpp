#include "audio/system_log.h"

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
  writePlatformLogWarning(message);
}

SystemLogWriter setSystemLogWriter(SystemLogWriter replacement) {
  std::lock_guard guard(writerLock);
  return std::exchange(writer(), std::move(replacement));
}

}  // namespace pellum
