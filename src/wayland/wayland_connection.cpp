#include "wayland/wayland_connection.h"

#include <poll.h>
#include <QSocketNotifier>
#include <algorithm>
#include <cerrno>
#include <cstring>

#include <wayland-client.h>

namespace pellum {

WaylandConnection::WaylandConnection(const std::string& displayName) {
  display_ = wl_display_connect(displayName.empty() ? nullptr : displayName.c_str());
  if (!display_) {
    error_ = std::string("cannot connect to the Wayland compositor (") + std::strerror(errno) + ")";
    return;
  }
  static const wl_registry_listener listener = {&WaylandConnection::handleGlobal,
                                                &WaylandConnection::handleGlobalRemove};
  registry_ = wl_display_get_registry(display_);
  wl_registry_add_listener(registry_, &listener, this);
  if (!roundtrip()) {
    lose(error_.empty() ? "the Wayland compositor did not answer" : error_);
    return;
  }
  announcing_ = false;
  notifier_ = std::make_unique<QSocketNotifier>(wl_display_get_fd(display_), QSocketNotifier::Read);
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, this, [this] { readAndDispatch(); });
}

WaylandConnection::~WaylandConnection() {
  notifier_.reset();
  if (registry_) wl_registry_destroy(registry_);
  if (display_) wl_display_disconnect(display_);
}

bool WaylandConnection::has(const wl_interface& interface) const {
  return std::any_of(globals_.begin(), globals_.end(),
                     [&](const Global& global) { return global.interface == interface.name; });
}

void* WaylandConnection::bindFirst(const wl_interface& interface, uint32_t maxVersion) {
  for (const Global& global : globals_) {
    if (global.interface == interface.name) return bindGlobal(global, interface, maxVersion);
  }
  return nullptr;
}

void* WaylandConnection::bindGlobal(const Global& global, const wl_interface& interface,
                                    uint32_t maxVersion) {
  if (!registry_) return nullptr;
  return wl_registry_bind(registry_, global.name, &interface, std::min(global.version, maxVersion));
}

bool WaylandConnection::roundtrip(std::chrono::milliseconds deadline) {
  if (!display_) return false;
  bool done = false;
  static const wl_callback_listener doneListener = {[](void* data, wl_callback* callback, uint32_t) {
    *static_cast<bool*>(data) = true;
    wl_callback_destroy(callback);
  }};
  wl_callback* callback = wl_display_sync(display_);
  wl_callback_add_listener(callback, &doneListener, &done);
  const auto until = std::chrono::steady_clock::now() + deadline;
  while (!done) {
    if (wl_display_dispatch_pending(display_) < 0) break;
    if (done) break;
    if (wl_display_flush(display_) < 0 && errno != EAGAIN) break;
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
    if (left.count() <= 0) break;
    if (wl_display_prepare_read(display_) != 0) continue;
    pollfd fd = {wl_display_get_fd(display_), POLLIN, 0};
    const int ready = ::poll(&fd, 1, static_cast<int>(left.count()));
    if (ready <= 0) {
      wl_display_cancel_read(display_);
      if (ready < 0 && errno == EINTR) continue;
      if (ready < 0) break;
      continue;  // timed out: the loop ends on the deadline check
    }
    if (wl_display_read_events(display_) < 0) break;
  }
  if (!done) {
    // The callback still points at `done`: make it harmless before leaving.
    wl_callback_destroy(callback);
    if (wl_display_get_error(display_) != 0) {
      lose(std::string("the Wayland connection broke (") + std::strerror(wl_display_get_error(display_)) +
           ")");
    }
    return false;
  }
  return true;
}

void WaylandConnection::flush() {
  if (display_ && wl_display_flush(display_) < 0 && errno != EAGAIN) {
    lose(std::string("the Wayland connection broke (") + std::strerror(errno) + ")");
  }
}

void WaylandConnection::readAndDispatch() {
  if (!display_) return;
  if (wl_display_prepare_read(display_) == 0) {
    // The notifier saw the socket readable; libwayland reads without blocking.
    if (wl_display_read_events(display_) < 0) {
      lose(std::string("the Wayland compositor closed the connection (") + std::strerror(errno) + ")");
      return;
    }
  }
  if (wl_display_dispatch_pending(display_) < 0) {
    lose(std::string("the Wayland compositor closed the connection (") +
         std::strerror(wl_display_get_error(display_)) + ")");
    return;
  }
  flush();
}

void WaylandConnection::lose(const std::string& why) {
  if (error_.empty()) error_ = why;
  if (notifier_) notifier_->setEnabled(false);
  if (onLost) onLost();
}

void WaylandConnection::handleGlobal(void* data, wl_registry*, uint32_t name, const char* interface,
                                     uint32_t version) {
  auto* self = static_cast<WaylandConnection*>(data);
  self->globals_.push_back({name, interface, version});
  if (!self->announcing_ && self->onGlobalAdded) self->onGlobalAdded(self->globals_.back());
}

void WaylandConnection::handleGlobalRemove(void* data, wl_registry*, uint32_t name) {
  auto* self = static_cast<WaylandConnection*>(data);
  std::erase_if(self->globals_, [name](const Global& global) { return global.name == name; });
  if (self->onGlobalRemoved) self->onGlobalRemoved(name);
}

}  // namespace pellum
