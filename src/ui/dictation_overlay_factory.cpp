#include "ui/dictation_overlay_factory.h"

#include "base/desktop_session.h"
#include "base/log_line.h"
#include "ui/notch_overlay_controller.h"
#include "ui/notch_surfaces_wayland.h"
#include "wayland/wlr-layer-shell-unstable-v1-client-protocol.h"

namespace pellum {
namespace {

std::unique_ptr<NotchSurfaces> layerShellSurfaces() {
  auto connection = std::make_unique<WaylandConnection>();
  if (!connection->isConnected()) {
    logLine("Pellum: the overlay uses an X11 window (no Wayland connection: " + connection->error() + ")");
    return nullptr;
  }
  if (!connection->has(zwlr_layer_shell_v1_interface)) {
    logLine("Pellum: the overlay uses an X11 window (the compositor has no layer-shell)");
    return nullptr;
  }
  return std::make_unique<LayerShellNotchSurfaces>(std::move(connection));
}

}  // namespace

std::unique_ptr<DictationOverlay> makeDictationOverlay() {
  const std::string backend = currentBackend(Capability::overlay);
  if (backend == "layer-shell") {
    return std::make_unique<NotchOverlayController>(std::chrono::seconds(60), layerShellSurfaces());
  }
  if (backend == "x11") return std::make_unique<NotchOverlayController>();
  return std::make_unique<NoOverlay>();
}

}  // namespace pellum
