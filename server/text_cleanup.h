#pragma once

#include <string>
#include <string_view>

namespace pellum::server {

// Turns a verbatim transcript into dictation text for "clean" mode.
// Thread-safe; `clean` may block (a model's answer): call it from a worker.
class TextCleanup {
 public:
  virtual ~TextCleanup() = default;
  virtual std::string clean(std::string_view verbatim) = 0;
};

// The built-in, deterministic cleaner (text_cleaner.h).
class BuiltInCleanup : public TextCleanup {
 public:
  std::string clean(std::string_view verbatim) override;
};

}  // namespace pellum::server
