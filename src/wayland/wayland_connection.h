#pragma once

#include <QObject>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

struct wl_display;
struct wl_registry;
struct wl_interface;
class QSocketNotifier;

namespace pellum {

// A connection of our own to the Wayland compositor, apart from the one Qt
// keeps for its windows: the clipboard, the virtual keyboard and the overlay
// each talk to protocols Qt 6.4 does not expose, so they hold one of these.
// Its events are read and dispatched from Qt's event loop (a socket
// notifier), so every listener runs on the main thread.
//
// Main thread only.
class WaylandConnection : public QObject {
 public:
  struct Global {
    uint32_t name = 0;
    std::string interface;
    uint32_t version = 0;
  };

  // Connects to `displayName` ($WAYLAND_DISPLAY when empty) and learns the
  // compositor's globals; check isConnected().
  explicit WaylandConnection(const std::string& displayName = {});
  ~WaylandConnection() override;

  WaylandConnection(const WaylandConnection&) = delete;
  WaylandConnection& operator=(const WaylandConnection&) = delete;

  bool isConnected() const { return display_ != nullptr && error_.empty(); }
  // Why the connection could not be made or was lost; empty while it lives.
  const std::string& error() const { return error_; }
  wl_display* display() const { return display_; }

  const std::vector<Global>& globals() const { return globals_; }
  bool has(const wl_interface& interface) const;

  // Binds the first global of `interface` at the lower of its version and
  // `maxVersion`; nullptr when the compositor has none.
  template <class Proxy>
  Proxy* bind(const wl_interface& interface, uint32_t maxVersion) {
    return static_cast<Proxy*>(bindFirst(interface, maxVersion));
  }
  // Binds one given global (for interfaces with one global each, such as
  // wl_output).
  void* bindGlobal(const Global& global, const wl_interface& interface, uint32_t maxVersion);

  // Sends what is queued, then waits until the compositor has answered
  // everything sent so far, dispatching events meanwhile. False when the
  // compositor did not answer within `deadline` or the connection broke.
  bool roundtrip(std::chrono::milliseconds deadline = std::chrono::milliseconds(2000));

  // Sends what is queued. Call after each burst of requests.
  void flush();

  // Globals that come and go after the connection was made (screens).
  std::function<void(const Global&)> onGlobalAdded;
  std::function<void(uint32_t name)> onGlobalRemoved;
  // The compositor went away or closed the connection for a protocol error.
  std::function<void()> onLost;

 private:
  static void handleGlobal(void* data, wl_registry* registry, uint32_t name, const char* interface,
                           uint32_t version);
  static void handleGlobalRemove(void* data, wl_registry* registry, uint32_t name);

  void* bindFirst(const wl_interface& interface, uint32_t maxVersion);
  void readAndDispatch();
  void lose(const std::string& why);

  wl_display* display_ = nullptr;
  wl_registry* registry_ = nullptr;
  std::unique_ptr<QSocketNotifier> notifier_;
  std::vector<Global> globals_;
  std::string error_;
  bool announcing_ = true;
};

}  // namespace pellum
