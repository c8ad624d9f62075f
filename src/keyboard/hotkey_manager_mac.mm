// The dictation key on macOS: the Fn key, seen through a session-wide
// Quartz event tap whose source runs on the main run loop. What the tap
// does with each event is decided by event_tap::filter; this file only
// reads the event's type, flags and key code and carries the verdict out.
//
// What the Apple calls below are documented to do, and what we rely on:
// - CGEventTapCreate drops from the mask the events the process may not see
//   and returns NULL when none is left; we take NULL to mean the user has
//   not trusted us for accessibility yet. The port it returns is ours to
//   CFRelease, as is the source from CFMachPortCreateRunLoopSource.
// - The callback runs on the run loop the tap's source was added to: here
//   CFRunLoopGetMain(), the thread Qt runs on, so isHeld() is only touched
//   there. Added for kCFRunLoopCommonModes, it runs in every common mode,
//   the one a menu tracks in among them.
// - kCGEventTapOptionDefault makes the tap an active filter: a callback that
//   returns NULL deletes the event, so no application sees it.
// - The system switches a slow tap off (or does so at the user's request)
//   and says so with kCGEventTapDisabledByTimeout/ByUserInput;
//   CGEventTapEnable(tap, true) switches it back on.
// - AXIsProcessTrustedWithOptions with kAXTrustedCheckOptionPrompt = true
//   shows the system's prompt asynchronously; its answer is not affected.
// - CFMachPortInvalidate also invalidates the run loop source made from the
//   port, so no callback can come after the destructor.

#include <QTimer>
#include <cstdint>
#include <optional>
#include <string>

#import <ApplicationServices/ApplicationServices.h>
#import <Foundation/Foundation.h>

#include "keyboard/event_tap_filter.h"
#include "keyboard/hotkey_manager.h"

namespace pellum {
namespace {

constexpr char kNeedsAccessibility[] =
    "Pellum needs Accessibility access: System Settings > Privacy & Security > Accessibility";

// The key is fixed to Fn on macOS; no setting changes it.
DictationKey fnKey() { return DictationKey{0, "Fn", "Fn", "fn"}; }

bool namesFn(const std::string& name) { return name.empty() || name == "Fn" || name == "XF86Fn"; }

class MacHotkeyManager : public HotkeyManager {
 public:
  MacHotkeyManager() {
    trustWatch_.setInterval(event_tap::kTrustRecheckMs);
    QObject::connect(&trustWatch_, &QTimer::timeout, this, [this] { recheckTrust(); });
  }

  ~MacHotkeyManager() override {
    trustWatch_.stop();
    removeTap();
  }

  bool start() override {
    if (tap_) {
      CGEventTapEnable(tap_, true);
      return true;
    }
    tap_ = CGEventTapCreate(kCGSessionEventTap, kCGHeadInsertEventTap, kCGEventTapOptionDefault,
                            event_tap::kEventMask, &MacHotkeyManager::onEvent, this);
    if (!tap_) return waitForTrust();
    source_ = CFMachPortCreateRunLoopSource(kCFAllocatorDefault, tap_, 0);
    if (!source_) {
      removeTap();
      reason_ = "cannot listen to the keyboard's event tap";
      return false;
    }
    CFRunLoopAddSource(CFRunLoopGetMain(), source_, kCFRunLoopCommonModes);
    CGEventTapEnable(tap_, true);
    trustWatch_.stop();
    reason_.clear();
    return true;
  }

  std::optional<DictationKey> key() const override { return tap_ ? std::optional(fnKey()) : std::nullopt; }

  std::string unavailableReason() const override { return reason_; }

  std::optional<DictationKeyError> chooseKey(const std::string& keysymName) override {
    if (namesFn(keysymName)) return std::nullopt;
    return DictationKeyError{DictationKeyError::Kind::notOnKeyboard,
                             describeDictationKey(0, keysymName).displayName};
  }

  std::vector<DictationKey> availableKeys() const override { return {fnKey()}; }

  void setCancelKeyArmed(bool armed) override { cancelArmed_ = armed; }

 private:
  // The tap could not be made: ask the system to prompt for trust (once per
  // failed start) and look again every second until it is granted.
  bool waitForTrust() {
    NSDictionary* options = @{(__bridge NSString*)kAXTrustedCheckOptionPrompt : @YES};
    AXIsProcessTrustedWithOptions((__bridge CFDictionaryRef)options);
    reason_ = kNeedsAccessibility;
    trustWatch_.start();
    return false;
  }

  void recheckTrust() {
    if (!AXIsProcessTrusted()) return;
    trustWatch_.stop();
    start();
  }

  static CGEventRef onEvent(CGEventTapProxy, CGEventType type, CGEventRef event, void* userInfo) {
    auto* self = static_cast<MacHotkeyManager*>(userInfo);
    if (!self || !event) return event;
    return self->handle(type, event) ? nullptr : event;
  }

  // Carries out the filter's verdict; returns whether to swallow the event.
  // Reports are queued by the base class, so the tap returns at once.
  bool handle(CGEventType type, CGEventRef event) {
    const event_tap::Verdict verdict = event_tap::filter(
        static_cast<std::uint32_t>(type), static_cast<std::uint64_t>(CGEventGetFlags(event)),
        CGEventGetIntegerValueField(event, kCGKeyboardEventKeycode), isHeld(), cancelArmed_);
    switch (verdict.report) {
      case event_tap::Verdict::Report::none:
        break;
      case event_tap::Verdict::Report::keyDown:
        keyWentDown();
        break;
      case event_tap::Verdict::Report::keyUp:
        keyWentUp();
        break;
      case event_tap::Verdict::Report::cancel:
        cancelPressed();
        break;
      case event_tap::Verdict::Report::reEnableTap:
        if (tap_) CGEventTapEnable(tap_, true);
        break;
    }
    return verdict.swallow;
  }

  void removeTap() {
    if (!tap_) return;
    CGEventTapEnable(tap_, false);
    if (source_) {
      CFRunLoopRemoveSource(CFRunLoopGetMain(), source_, kCFRunLoopCommonModes);
      CFRelease(source_);
      source_ = nullptr;
    }
    CFMachPortInvalidate(tap_);
    CFRelease(tap_);
    tap_ = nullptr;
  }

  CFMachPortRef tap_ = nullptr;
  CFRunLoopSourceRef source_ = nullptr;
  bool cancelArmed_ = false;  // read by the tap, on the main thread
  QTimer trustWatch_;
  std::string reason_;
};

}  // namespace

std::unique_ptr<HotkeyManager> HotkeyManager::create(Callback onPress, Callback onRelease) {
  auto manager = std::make_unique<MacHotkeyManager>();
  manager->setCallbacks(std::move(onPress), std::move(onRelease));
  return manager;
}

}  // namespace pellum
