// The overlay's screen and window on macOS: AppKit only. The geometry itself
// is notch::notchFrame's, fed here in Qt's top-left global coordinates.
//
// What the calls rely on, as Apple documents them:
// - +[NSScreen screens]: the screen with the menu bar is always the first,
//   and its frame's origin is (0, 0) in AppKit's global coordinates (origin
//   at its bottom left, y upward). Its height turns those into Qt's.
// - -[NSScreen safeAreaInsets] (macOS 12): on a Mac with a camera housing
//   the top inset is the band the housing covers; 0 elsewhere.
// - -[NSScreen auxiliaryTopLeftArea] / auxiliaryTopRightArea (macOS 12):
//   the visible areas left and right of the housing, documented as given in
//   global screen coordinates (the space of the screen's frame, not relative
//   to the screen), so they convert exactly like the frame. Without a
//   housing they are NSZeroRect in Objective-C.
// - The overlay's window: QWidget::winId() on macOS is the NSView Qt draws
//   into; its -window is the NSWindow (an NSPanel, since the widget is a
//   Qt::Tool window). A level of NSStatusWindowLevel (25) floats above the
//   menu bar and full-screen windows; collection behaviour 0x151
//   (CanJoinAllSpaces | Stationary | IgnoresCycle | FullScreenAuxiliary)
//   shows it on every space, including a full-screen program's, and keeps it
//   out of Mission Control and window cycling.
// - NSWindowStyleMaskNonactivatingPanel is valid only for an NSPanel; it
//   lets the panel show without activating Pellum. floatingPanel is set
//   before the level, so the status level is the one that stays.
// - Qt hides Qt::Tool panels when the app deactivates (hidesOnDeactivate);
//   an accessory program is rarely active, so that is switched off.

#import <AppKit/AppKit.h>

#include <QWidget>
#include <optional>

#include "ui/notch_screen.h"

namespace pellum {
namespace {

notch::Rect topLeft(NSRect rect, double primaryHeight) {
  return notch::fromBottomLeft({rect.origin.x, rect.origin.y, rect.size.width, rect.size.height},
                               primaryHeight);
}

std::optional<notch::Rect> auxiliaryArea(NSRect area, double primaryHeight) {
  if (NSIsEmptyRect(area)) return std::nullopt;  // NSZeroRect: no housing beside it
  return topLeft(area, primaryHeight);
}

}  // namespace

std::optional<notch::ScreenFacts> overlayScreenFacts() {
  NSArray<NSScreen*>* screens = NSScreen.screens;
  NSScreen* primary = screens.firstObject;
  if (!primary) return std::nullopt;
  const double primaryHeight = NSMaxY(primary.frame);
  // The first screen with a housing: a safe-area inset at the top and an
  // area to the housing's left.
  for (NSScreen* screen in screens) {
    const double inset = screen.safeAreaInsets.top;
    const auto left = auxiliaryArea(screen.auxiliaryTopLeftArea, primaryHeight);
    if (inset <= 0 || !left) continue;
    notch::ScreenFacts facts;
    facts.frame = topLeft(screen.frame, primaryHeight);
    facts.safeTopInset = inset;
    facts.auxiliaryTopLeft = left;
    facts.auxiliaryTopRight = auxiliaryArea(screen.auxiliaryTopRightArea, primaryHeight);
    return facts;
  }
  return std::nullopt;
}

void placeOverlayWindow(QWidget& window) {
  NSView* view = (__bridge NSView*)reinterpret_cast<void*>(window.winId());
  NSWindow* overlay = view.window;
  if (!overlay) return;
  if ([overlay isKindOfClass:[NSPanel class]]) {
    NSPanel* panel = (NSPanel*)overlay;
    panel.floatingPanel = YES;
    panel.styleMask = panel.styleMask | NSWindowStyleMaskNonactivatingPanel;
  }
  overlay.level = NSStatusWindowLevel;
  overlay.collectionBehavior = NSWindowCollectionBehaviorCanJoinAllSpaces |
                               NSWindowCollectionBehaviorStationary | NSWindowCollectionBehaviorIgnoresCycle |
                               NSWindowCollectionBehaviorFullScreenAuxiliary;
  overlay.opaque = NO;
  overlay.backgroundColor = NSColor.clearColor;
  overlay.hasShadow = NO;
  overlay.ignoresMouseEvents = YES;
  overlay.hidesOnDeactivate = NO;
}

}  // namespace pellum
