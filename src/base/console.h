#pragma once

#include <cstdio>
#include <string>

namespace pellum {

// Writes one line and flushes it at once: the command-line tools' output is
// read by scripts and tests while the program still runs.
inline void printLine(std::FILE* stream, const std::string& line) {
  std::fwrite(line.data(), 1, line.size(), stream);
  std::fputc('\n', stream);
  std::fflush(stream);
}

}  // namespace pellum
