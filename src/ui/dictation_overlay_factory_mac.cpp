// On a Mac the overlay is always the Qt window, raised above the menu bar
// beside the camera housing (notch_screen_mac.mm); a Mac without a housing
// gets no overlay at all, which the screen facts decide.

#include "ui/dictation_overlay_factory.h"
#include "ui/notch_overlay_controller.h"

namespace pellum {

std::unique_ptr<DictationOverlay> makeDictationOverlay() {
  return std::make_unique<NotchOverlayController>();
}

}  // namespace pellum
