#pragma once

#include <sys/types.h>

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace pellum::server {

// One Apertium pair kept running between translations: a shell pipeline of
// NUL-flushing stages that answers each NUL-terminated text with one
// NUL-terminated translation in a few milliseconds, where starting the
// pipeline costs ~180 ms. Thread-safe; calls are serialised.
class ApertiumPipeline {
 public:
  // `command`: the pipeline, as nullFlushPipeline() makes it.
  explicit ApertiumPipeline(std::string command);
  ~ApertiumPipeline();
  ApertiumPipeline(const ApertiumPipeline&) = delete;
  ApertiumPipeline& operator=(const ApertiumPipeline&) = delete;

  // The translation of `text` (plain text, any length the pipes take), or
  // nothing when the pipeline could not start, died or took over ten
  // seconds; it is then stopped and started afresh on the next call.
  std::optional<std::string> translate(std::string_view text);

 private:
  bool start();
  void stop();
  bool exchange(std::string_view input, std::string& output);

  std::string command_;
  std::mutex mutex_;
  pid_t pid_ = -1;
  int toPipeline_ = -1;
  int fromPipeline_ = -1;
};

}  // namespace pellum::server
