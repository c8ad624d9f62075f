#pragma once

#include <string>

namespace pellum {

// The tray icon's appearance during a dictation. Main thread.
class StatusIcon {
 public:
  enum class Symbol { micSlash, micFill, waveform };
  enum class Tint { red, orange };

  virtual ~StatusIcon() = default;

  // A symbol drawn in a tint: red "mic.slash" (pressed while signed out),
  // red "mic.fill" (recording), orange "waveform" (processing).
  virtual void setSymbol(Symbol symbol, Tint tint) = 0;
  // Back to the idle icon, untinted.
  virtual void reset() = 0;
};

// "mic.slash", "mic.fill", "waveform".
std::string symbolName(StatusIcon::Symbol symbol);

}  // namespace pellum
