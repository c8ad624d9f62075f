#include "server_log.h"

#include <cstdio>
#include <mutex>
#include <string>

namespace pellum::server {

void logLine(std::string_view line) {
  static std::mutex mutex;
  std::string text = "pellum-server: ";
  text.append(line);
  text.push_back('\n');
  std::lock_guard lock(mutex);
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

}  // namespace pellum::server
