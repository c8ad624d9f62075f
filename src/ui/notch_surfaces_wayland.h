#pragma once

#include <QImage>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "ui/notch_overlay_controller.h"
#include "wayland/wayland_connection.h"

struct wl_buffer;
struct wl_compositor;
struct wl_output;
struct wl_shm;
struct wl_surface;
struct zwlr_layer_shell_v1;
struct zwlr_layer_surface_v1;

namespace pellum {

// The overlay on a Wayland compositor with layer-shell: one surface per
// screen on the overlay layer, above full-screen windows, never focused,
// with an empty input region so clicks reach the window below. Each frame
// is painted by NotchLook into shared memory; two buffers per surface, a
// buffer reused only once the compositor has released it.
//
// Every screen gets the band: the compositor tells us nothing about which
// screen holds a panel, and a dictation may be watched on any of them.
//
// Main thread only.
class LayerShellNotchSurfaces : public NotchSurfaces {
 public:
  // Takes a connection whose compositor offers layer-shell.
  explicit LayerShellNotchSurfaces(std::unique_ptr<WaylandConnection> connection);
  ~LayerShellNotchSurfaces() override;

  bool show() override;
  void present(const NotchLook& look, double opacity) override;
  void hide() override;

  // Surfaces with a frame on screen, for tests and benches.
  int committedSurfaces() const;

  struct Buffer {
    wl_buffer* buffer = nullptr;
    uchar* memory = nullptr;
    std::size_t size = 0;
    QImage image;
    bool busy = false;
  };
  struct Output {
    LayerShellNotchSurfaces* owner = nullptr;
    uint32_t name = 0;
    wl_output* output = nullptr;
    int modeWidth = 0, modeHeight = 0, scale = 1;
    bool described = false;
    wl_surface* surface = nullptr;
    zwlr_layer_surface_v1* layer = nullptr;
    bool configured = false;
    bool committed = false;
    bool stale = false;         // a frame was skipped for want of a free buffer
    int width = 0, height = 0;  // the band, in logical pixels
    Buffer buffers[2];
  };

 private:
  void addOutput(const WaylandConnection::Global& global);
  void removeOutput(uint32_t name);
  void createSurface(Output& output);
  void destroySurface(Output& output);
  void draw(Output& output);
  static bool allocate(Output& output, Buffer& buffer, wl_shm* shm);

  static void outputDone(void* data, wl_output*);
  static void layerConfigure(void* data, zwlr_layer_surface_v1*, uint32_t serial, uint32_t w, uint32_t h);
  static void layerClosed(void* data, zwlr_layer_surface_v1*);
  static void bufferRelease(void* data, wl_buffer*);

  std::unique_ptr<WaylandConnection> connection_;
  wl_compositor* compositor_ = nullptr;
  wl_shm* shm_ = nullptr;
  zwlr_layer_shell_v1* layerShell_ = nullptr;
  std::vector<std::unique_ptr<Output>> outputs_;
  bool shown_ = false;
  std::optional<NotchLook> look_;
  double opacity_ = 0;
};

}  // namespace pellum
