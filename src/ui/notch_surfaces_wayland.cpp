#include "ui/notch_surfaces_wayland.h"

#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>

#include <QPainter>
#include <algorithm>

#include "wayland/wlr-layer-shell-unstable-v1-client-protocol.h"

namespace pellum {
namespace {

// The band on a screen of `width` × `height` logical pixels, with the
// screen's origin at 0, 0; the same frame the X11 window gets.
std::optional<notch::Rect> bandOn(int width, int height) {
  const notch::Rect screen{0, 0, double(width), double(height)};
  return notch::notchFrame(notch::virtualNotch(screen, screen));
}

void outputGeometry(void*, wl_output*, int32_t, int32_t, int32_t, int32_t, int32_t, const char*, const char*,
                    int32_t) {}

void outputMode(void* data, wl_output*, uint32_t flags, int32_t width, int32_t height, int32_t) {
  if (!(flags & WL_OUTPUT_MODE_CURRENT)) return;
  auto* output = static_cast<LayerShellNotchSurfaces::Output*>(data);
  output->modeWidth = width;
  output->modeHeight = height;
}

void outputScale(void* data, wl_output*, int32_t factor) {
  static_cast<LayerShellNotchSurfaces::Output*>(data)->scale = std::max(1, factor);
}

}  // namespace

LayerShellNotchSurfaces::LayerShellNotchSurfaces(std::unique_ptr<WaylandConnection> connection)
    : connection_(std::move(connection)) {
  compositor_ = connection_->bind<wl_compositor>(wl_compositor_interface, 4);
  shm_ = connection_->bind<wl_shm>(wl_shm_interface, 1);
  layerShell_ = connection_->bind<zwlr_layer_shell_v1>(zwlr_layer_shell_v1_interface, 3);
  for (const auto& global : connection_->globals()) addOutput(global);
  connection_->onGlobalAdded = [this](const WaylandConnection::Global& global) { addOutput(global); };
  connection_->onGlobalRemoved = [this](uint32_t name) { removeOutput(name); };
  connection_->roundtrip();
}

LayerShellNotchSurfaces::~LayerShellNotchSurfaces() {
  hide();
  connection_->onGlobalAdded = nullptr;
  connection_->onGlobalRemoved = nullptr;
  for (auto& output : outputs_) wl_output_destroy(output->output);
  if (layerShell_) zwlr_layer_shell_v1_destroy(layerShell_);
  if (shm_) wl_shm_destroy(shm_);
  if (compositor_) wl_compositor_destroy(compositor_);
  connection_->flush();
}

void LayerShellNotchSurfaces::addOutput(const WaylandConnection::Global& global) {
  if (global.interface != wl_output_interface.name) return;
  static const wl_output_listener listener{outputGeometry, outputMode, &LayerShellNotchSurfaces::outputDone,
                                           outputScale,    nullptr,    nullptr};
  auto output = std::make_unique<Output>();
  output->owner = this;
  output->name = global.name;
  output->output = static_cast<wl_output*>(connection_->bindGlobal(global, wl_output_interface, 2));
  if (!output->output) return;
  wl_output_add_listener(output->output, &listener, output.get());
  outputs_.push_back(std::move(output));
  connection_->flush();
}

void LayerShellNotchSurfaces::removeOutput(uint32_t name) {
  auto it = std::find_if(outputs_.begin(), outputs_.end(), [name](const auto& o) { return o->name == name; });
  if (it == outputs_.end()) return;
  destroySurface(**it);
  wl_output_destroy((*it)->output);
  outputs_.erase(it);
  connection_->flush();
}

void LayerShellNotchSurfaces::outputDone(void* data, wl_output*) {
  auto* output = static_cast<Output*>(data);
  output->described = true;
  // A screen plugged in while the overlay shows gets its band too.
  if (output->owner->shown_ && !output->surface) output->owner->createSurface(*output);
}

bool LayerShellNotchSurfaces::show() {
  if (!connection_->isConnected()) return false;
  shown_ = true;
  for (auto& output : outputs_) {
    if (output->described && !output->surface) createSurface(*output);
  }
  connection_->flush();
  return std::any_of(outputs_.begin(), outputs_.end(), [](const auto& o) { return o->surface != nullptr; });
}

void LayerShellNotchSurfaces::createSurface(Output& output) {
  const auto band = bandOn(output.modeWidth / output.scale, output.modeHeight / output.scale);
  if (!band) return;
  output.width = int(band->width);
  output.height = int(band->height);
  output.surface = wl_compositor_create_surface(compositor_);
  // Clicks go through: no part of the band takes input.
  wl_region* nothing = wl_compositor_create_region(compositor_);
  wl_surface_set_input_region(output.surface, nothing);
  wl_region_destroy(nothing);
  wl_surface_set_buffer_scale(output.surface, output.scale);
  output.layer = zwlr_layer_shell_v1_get_layer_surface(layerShell_, output.surface, output.output,
                                                       ZWLR_LAYER_SHELL_V1_LAYER_OVERLAY, "pellum-overlay");
  static const zwlr_layer_surface_v1_listener listener{&LayerShellNotchSurfaces::layerConfigure,
                                                       &LayerShellNotchSurfaces::layerClosed};
  zwlr_layer_surface_v1_add_listener(output.layer, &listener, &output);
  zwlr_layer_surface_v1_set_size(output.layer, uint32_t(output.width), uint32_t(output.height));
  zwlr_layer_surface_v1_set_anchor(output.layer,
                                   ZWLR_LAYER_SURFACE_V1_ANCHOR_TOP | ZWLR_LAYER_SURFACE_V1_ANCHOR_LEFT);
  zwlr_layer_surface_v1_set_margin(output.layer, 0, 0, 0, int32_t(band->x));
  // -1: flush with the screen's top even over a panel's reserved band, and
  // reserving nothing, so no window moves.
  zwlr_layer_surface_v1_set_exclusive_zone(output.layer, -1);
  zwlr_layer_surface_v1_set_keyboard_interactivity(output.layer, 0);
  wl_surface_commit(output.surface);
}

void LayerShellNotchSurfaces::layerConfigure(void* data, zwlr_layer_surface_v1* layer, uint32_t serial,
                                             uint32_t, uint32_t) {
  auto* output = static_cast<Output*>(data);
  zwlr_layer_surface_v1_ack_configure(layer, serial);
  output->configured = true;
  output->owner->draw(*output);
}

void LayerShellNotchSurfaces::layerClosed(void* data, zwlr_layer_surface_v1*) {
  auto* output = static_cast<Output*>(data);
  output->owner->destroySurface(*output);
}

void LayerShellNotchSurfaces::present(const NotchLook& look, double opacity) {
  look_ = look;
  opacity_ = opacity;
  for (auto& output : outputs_) draw(*output);
  connection_->flush();
}

void LayerShellNotchSurfaces::draw(Output& output) {
  if (!output.surface || !output.configured || !look_) return;
  auto free = std::find_if(std::begin(output.buffers), std::end(output.buffers),
                           [](const Buffer& b) { return !b.busy; });
  // Both buffers still on screen: the release redraws with the newest look.
  if (free == std::end(output.buffers)) {
    output.stale = true;
    return;
  }
  output.stale = false;
  if (!free->buffer && !allocate(output, *free, shm_)) return;
  free->image.fill(Qt::transparent);
  {
    QPainter painter(&free->image);
    painter.scale(output.scale, output.scale);
    painter.setOpacity(opacity_);
    look_->paint(painter, output.width, output.height);
  }
  free->busy = true;
  wl_surface_attach(output.surface, free->buffer, 0, 0);
  wl_surface_damage_buffer(output.surface, 0, 0, free->image.width(), free->image.height());
  wl_surface_commit(output.surface);
  output.committed = true;
}

bool LayerShellNotchSurfaces::allocate(Output& output, Buffer& buffer, wl_shm* shm) {
  const int width = output.width * output.scale;
  const int height = output.height * output.scale;
  const int stride = width * 4;
  buffer.size = std::size_t(stride) * std::size_t(height);
  const int fd = memfd_create("pellum-overlay", MFD_CLOEXEC);
  if (fd < 0) return false;
  if (ftruncate(fd, off_t(buffer.size)) != 0) {
    close(fd);
    return false;
  }
  void* memory = mmap(nullptr, buffer.size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (memory == MAP_FAILED) {
    close(fd);
    return false;
  }
  wl_shm_pool* pool = wl_shm_create_pool(shm, fd, int32_t(buffer.size));
  buffer.buffer = wl_shm_pool_create_buffer(pool, 0, width, height, stride, WL_SHM_FORMAT_ARGB8888);
  wl_shm_pool_destroy(pool);
  close(fd);
  buffer.memory = static_cast<uchar*>(memory);
  // ARGB8888 in wl_shm is premultiplied, little-endian: Qt's own layout.
  buffer.image = QImage(buffer.memory, width, height, stride, QImage::Format_ARGB32_Premultiplied);
  static const wl_buffer_listener listener{&LayerShellNotchSurfaces::bufferRelease};
  wl_buffer_add_listener(buffer.buffer, &listener, &output);
  return true;
}

void LayerShellNotchSurfaces::bufferRelease(void* data, wl_buffer* released) {
  auto* output = static_cast<Output*>(data);
  for (auto& buffer : output->buffers) {
    if (buffer.buffer == released) buffer.busy = false;
  }
  if (output->stale) {
    output->owner->draw(*output);
    output->owner->connection_->flush();
  }
}

void LayerShellNotchSurfaces::hide() {
  shown_ = false;
  look_.reset();
  for (auto& output : outputs_) destroySurface(*output);
  connection_->flush();
}

void LayerShellNotchSurfaces::destroySurface(Output& output) {
  for (auto& buffer : output.buffers) {
    if (buffer.buffer) wl_buffer_destroy(buffer.buffer);
    if (buffer.memory) munmap(buffer.memory, buffer.size);
    buffer = Buffer{};
  }
  if (output.layer) zwlr_layer_surface_v1_destroy(output.layer);
  if (output.surface) wl_surface_destroy(output.surface);
  output.layer = nullptr;
  output.surface = nullptr;
  output.configured = false;
  output.committed = false;
}

int LayerShellNotchSurfaces::committedSurfaces() const {
  return int(std::count_if(outputs_.begin(), outputs_.end(), [](const auto& o) { return o->committed; }));
}

}  // namespace pellum
