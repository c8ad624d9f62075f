#include "base/log_line.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace pellum {
namespace {

std::string contentsOf(std::FILE* file) {
  std::rewind(file);
  std::string text;
  char buffer[4096];
  while (const std::size_t read = std::fread(buffer, 1, sizeof buffer, file)) text.append(buffer, read);
  return text;
}

TEST(PrintLine, WritesTheLineAndANewline) {
  std::FILE* file = std::tmpfile();
  ASSERT_NE(file, nullptr);
  printLine(file, "AudioRecorder: no audio capture device available");
  printLine(file, "");
  EXPECT_EQ(contentsOf(file), "AudioRecorder: no audio capture device available\n\n");
  std::fclose(file);
}

TEST(PrintLine, LinesFromManyThreadsNeverInterleave) {
  std::FILE* file = std::tmpfile();
  ASSERT_NE(file, nullptr);
  const std::string lineA(3000, 'a');
  const std::string lineB(3000, 'b');
  std::vector<std::thread> writers;
  for (const std::string* line : {&lineA, &lineB}) {
    writers.emplace_back([file, line] {
      for (int i = 0; i < 200; ++i) printLine(file, *line);
    });
  }
  for (auto& writer : writers) writer.join();
  const std::string text = contentsOf(file);
  std::size_t lines = 0;
  for (std::size_t start = 0; start < text.size(); ++lines) {
    const std::size_t end = text.find('\n', start);
    ASSERT_NE(end, std::string::npos);
    const std::string line = text.substr(start, end - start);
    EXPECT_TRUE(line == lineA || line == lineB) << "a torn line at byte " << start;
    start = end + 1;
  }
  EXPECT_EQ(lines, 400u);
  std::fclose(file);
}

}  // namespace
}  // namespace pellum
