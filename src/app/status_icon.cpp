#include "app/status_icon.h"

namespace pellum {

std::string symbolName(StatusIcon::Symbol symbol) {
  switch (symbol) {
    case StatusIcon::Symbol::micSlash:
      return "mic.slash";
    case StatusIcon::Symbol::micFill:
      return "mic.fill";
    case StatusIcon::Symbol::waveform:
      return "waveform";
  }
  return {};
}

}  // namespace pellum
