#pragma once

#include <memory>

#include "ui/dictation_overlay.h"

namespace pellum {

// The overlay the session's policy picks: the Qt window under X11, layer
// surfaces on a Wayland compositor that has layer-shell (the Qt window over
// XWayland when it has not), nothing when the policy says none.
std::unique_ptr<DictationOverlay> makeDictationOverlay();

}  // namespace pellum
