#include <syslog.h>

#include "audio/system_log.h"

namespace pellum {

void writePlatformLogWarning(const std::string& message) {
  openlog("pellum", LOG_PID, LOG_USER);
  syslog(LOG_WARNING, "%s", message.c_str());
  closelog();
}

}  // namespace pellum
