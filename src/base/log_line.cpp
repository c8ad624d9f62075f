#include "base/log_line.h"

#include <atomic>
#include <string>

namespace pellum {
namespace {

std::atomic<bool> logQuiet{false};

}  // namespace

void printLine(std::FILE* stream, std::string_view line) {
  std::string text;
  text.reserve(line.size() + 1);
  text.append(line);
  text.push_back('\n');
  // One fwrite holds the stream's lock for the whole line.
  std::fwrite(text.data(), 1, text.size(), stream);
  std::fflush(stream);
}

void logLine(std::string_view line) {
  if (!logQuiet.load(std::memory_order_relaxed)) printLine(stdout, line);
}

void setLogQuiet(bool quiet) { logQuiet.store(quiet, std::memory_order_relaxed); }

}  // namespace pellum
