#include "audio/system_log.h"

#include <syslog.h>

namespace pellum {

void writeSystemLogWarning(const std::string& message) {
  openlog("pellum", LOG_PID, LOG_USER);
  syslog(LOG_WARNING, "%s", message.c_str());
  closelog();
}

}  // namespace pellum
