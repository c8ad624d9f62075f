// Left and right button presses anywhere on a Mac, through two AppKit event
// monitors: a global one for presses that go to other applications and a
// local one for presses on our own windows, so that every press is seen.
// Neither takes anything from its target. Where the press landed is asked
// of the pointer when the press is read, and turned from AppKit's
// bottom-left screen coordinates into the top-left ones Qt places windows in.
//
// What the Apple calls below are documented to do, and what we rely on:
// - A global monitor gets copies of events posted to other applications
//   only, asynchronously, and cannot change them; mouse events need no
//   accessibility trust (only key events do).
// - A local monitor sees events posted to this application before they are
//   dispatched; returning the event unchanged lets it go on as usual.
// - removeMonitor: must be called exactly once per monitor.
// - [NSEvent mouseLocation] is in screen coordinates; their origin (0, 0) is
//   the bottom-left corner of NSScreen.screens[0], the screen with the menu
//   bar.
// Both monitors' handlers run on the main thread, where AppKit dispatches
// events; reports are queued behind them on the main queue.

#include <QGuiApplication>
#include <cmath>
#include <memory>
#include <string>

#import <AppKit/AppKit.h>
#include <dispatch/dispatch.h>

#include "ui/notch_geometry.h"
#include "ui/outside_click_monitor.h"

namespace pellum {
namespace {

// One start's worth of reporting. Queued reports hold it and check `live`,
// which stop() clears: none runs after stop(), nor after the monitor goes.
struct Listening {
  OutsideClickMonitor::OnPress onPress;
  bool live = true;
};

ScreenPoint pointerPosition() {
  const NSPoint where = NSEvent.mouseLocation;
  const double primaryHeight = NSScreen.screens.firstObject.frame.size.height;
  const notch::Rect flipped = notch::fromBottomLeft({where.x, where.y, 0, 0}, primaryHeight);
  return {static_cast<int>(std::lround(flipped.x)), static_cast<int>(std::lround(flipped.y))};
}

void reportLater(const std::shared_ptr<Listening>& listening) {
  const ScreenPoint where = pointerPosition();
  std::shared_ptr<Listening> held = listening;
  dispatch_async(dispatch_get_main_queue(), ^{
    if (!held->live || !held->onPress) return;
    const OutsideClickMonitor::OnPress callback = held->onPress;  // it may stop or restart us
    callback(where);
  });
}

class MacOutsideClickMonitor : public OutsideClickMonitor {
 public:
  ~MacOutsideClickMonitor() override { stop(); }

  bool start(OnPress onPress) override {
    stop();
    listening_ = std::make_shared<Listening>();
    listening_->onPress = std::move(onPress);
    const std::shared_ptr<Listening> listening = listening_;
    const NSEventMask presses = NSEventMaskLeftMouseDown | NSEventMaskRightMouseDown;
    globalMonitor_ = [NSEvent addGlobalMonitorForEventsMatchingMask:presses
                                                            handler:^(NSEvent*) {
                                                              reportLater(listening);
                                                            }];
    localMonitor_ = [NSEvent addLocalMonitorForEventsMatchingMask:presses
                                                          handler:^NSEvent*(NSEvent* event) {
                                                            reportLater(listening);
                                                            return event;
                                                          }];
    if (!globalMonitor_ || !localMonitor_) {
      stop();
      reason_ = "the system did not install a mouse event monitor";
      return false;
    }
    reason_.clear();
    return true;
  }

  void stop() override {
    if (listening_) listening_->live = false;
    listening_.reset();
    if (globalMonitor_) [NSEvent removeMonitor:globalMonitor_];
    if (localMonitor_) [NSEvent removeMonitor:localMonitor_];
    globalMonitor_ = nil;
    localMonitor_ = nil;
  }

  std::string unavailableReason() const override { return reason_; }

 private:
  std::shared_ptr<Listening> listening_;
  id globalMonitor_ = nil;
  id localMonitor_ = nil;
  std::string reason_;
};

}  // namespace

std::unique_ptr<OutsideClickMonitor> OutsideClickMonitor::create() {
  const QString platform = QGuiApplication::platformName();
  if (platform == QStringLiteral("cocoa")) return std::make_unique<MacOutsideClickMonitor>();
  return makeNullOutsideClickMonitor("no outside-click backend for the \"" + platform.toStdString() +
                                     "\" platform");
}

}  // namespace pellum
