#include "server_log.h"

#include <cstdio>
#include <mutex>
#include <string>

#include "log_text.h"

namespace pellum::server {

void logLine(std::string_view line) {
  static std::mutex mutex;
  std::string text = "pellum-server: ";
  // Lines carry values from peers (query values, paths, device names): one
  // escape here covers them all, so no peer can forge or colour a line.
  text.append(escapeForLog(line));
  text.push_back('\n');
  std::lock_guard lock(mutex);
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

}  // namespace pellum::server
