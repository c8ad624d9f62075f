#include "base/log_line.h"

#include <string>

namespace pellum {

void printLine(std::FILE* stream, std::string_view line) {
  std::string text;
  text.reserve(line.size() + 1);
  text.append(line);
  text.push_back('\n');
  // One fwrite holds the stream's lock for the whole line.
  std::fwrite(text.data(), 1, text.size(), stream);
  std::fflush(stream);
}

}  // namespace pellum
