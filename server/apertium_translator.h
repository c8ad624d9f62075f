#pragma once

#include <string>

#include "translator.h"

namespace pellum::server {

// Translates with Debian's Apertium: one `apertium -u MODE` process per call
// (~180 ms), reading the text on its standard input. A pair is available when
// its mode file is installed in `modesDir`.
class ApertiumTranslator : public Translator {
 public:
  explicit ApertiumTranslator(std::string modesDir = "/usr/share/apertium/modes");

  bool hasPair(std::string_view from, std::string_view to) const override;
  std::variant<std::string, TranslationError> translate(std::string_view text, std::string_view from,
                                                        std::string_view to) override;

 private:
  std::string installedMode(std::string_view from, std::string_view to) const;

  std::string modesDir_;
};

}  // namespace pellum::server
