// Pasting on macOS: the transcript goes on the general pasteboard as plain
// text, a Command-V is posted at the HID level for the focused application,
// and half a second later the pasteboard gets back the plain text it held
// (or is left empty). Anything else it held is lost; only text survives.
//
// What the Apple calls below are documented to do, and what we rely on:
// - stringForType: gives nil when no item holds a string of that type.
// - clearContents is the first step of writing: it empties the pasteboard
//   (every item and type) for the setString:forType: that follows.
// - CGEventCreateKeyboardEvent gives NULL when the event cannot be made,
//   and an event we must CFRelease; so does CGEventSourceCreate.
// - CGEventSetFlags replaces the event's flags, so the paste carries exactly
//   Command even while the user still holds another modifier.
// - CGEventPost at kCGHIDEventTap enters the stream where HID events enter
//   the window server, before every tap there (our own lets a V pass).
//   Posted keystrokes reach other applications only for a process trusted
//   for accessibility, the same trust the dictation key's tap needs.

#include <string>

#import <AppKit/AppKit.h>
#import <ApplicationServices/ApplicationServices.h>
#include <dispatch/dispatch.h>

#include "base/log_line.h"
#include "keyboard/event_tap_filter.h"
#include "keyboard/text_inserter.h"

namespace pellum {
namespace {

class MacTextInserter : public TextInserter {
 public:
  void insert(const std::string& text) override {
    NSString* transcript = [[NSString alloc] initWithBytes:text.data()
                                                    length:text.size()
                                                  encoding:NSUTF8StringEncoding];
    if (!transcript) {
      logLine("TextInserter: the transcript is not valid UTF-8; nothing was pasted");
      return;
    }
    NSPasteboard* pasteboard = NSPasteboard.generalPasteboard;
    NSString* saved = [pasteboard stringForType:NSPasteboardTypeString];
    [pasteboard clearContents];
    [pasteboard setString:transcript forType:NSPasteboardTypeString];
    postPaste();
    restoreLater(pasteboard, saved);
  }

  std::string unavailableReason() const override {
    if (AXIsProcessTrusted()) return {};
    return "Pellum needs Accessibility access to paste: System Settings > Privacy & Security > Accessibility";
  }

 private:
  static void postPaste() {
    CGEventSourceRef source = CGEventSourceCreate(kCGEventSourceStateHIDSystemState);
    for (const bool down : {true, false}) {
      CGEventRef event = CGEventCreateKeyboardEvent(source, event_tap::kVKeyCode, down);
      if (!event) continue;
      CGEventSetFlags(event, static_cast<CGEventFlags>(event_tap::kCommandFlag));
      CGEventPost(kCGHIDEventTap, event);
      CFRelease(event);
    }
    if (source) CFRelease(source);
  }

  // Each paste restores what it saw, on the main queue, whatever happened
  // to the pasteboard meanwhile.
  static void restoreLater(NSPasteboard* pasteboard, NSString* saved) {
    const dispatch_time_t when = dispatch_time(DISPATCH_TIME_NOW, kRestoreDelayMs * NSEC_PER_MSEC);
    dispatch_after(when, dispatch_get_main_queue(), ^{
      [pasteboard clearContents];
      if (saved) [pasteboard setString:saved forType:NSPasteboardTypeString];
    });
  }
};

}  // namespace

std::unique_ptr<TextInserter> TextInserter::create() { return std::make_unique<MacTextInserter>(); }

}  // namespace pellum
