#pragma once

#include <string>
#include <string_view>
#include <variant>

namespace pellum::server {

struct TranslationError {
  std::string description;  // sent to the client as it stands
};

// Machine translation between two language codes. Thread-safe; `translate`
// may block (call it from a worker thread).
class Translator {
 public:
  virtual ~Translator() = default;
  virtual bool hasPair(std::string_view from, std::string_view to) const = 0;
  virtual std::variant<std::string, TranslationError> translate(std::string_view text, std::string_view from,
                                                                std::string_view to) = 0;
};

// "no translation pair for English (en) to French (fr) is installed".
std::string missingPairText(std::string_view from, std::string_view to);

}  // namespace pellum::server
