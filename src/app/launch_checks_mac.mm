// The launch checks on macOS: AppKit and AVFoundation only.
//
// What the calls rely on, as Apple documents them:
// - -[NSApplication setActivationPolicy:] with
//   NSApplicationActivationPolicyAccessory: no Dock icon and no menu bar,
//   the same as LSUIElement = 1; any policy may be set since macOS 10.9.
// - +[AVCaptureDevice authorizationStatusForMediaType:] with AVMediaTypeAudio
//   answers at once; only AVAuthorizationStatusNotDetermined needs
//   +requestAccessForMediaType:completionHandler:, which shows the system's
//   prompt (it needs NSMicrophoneUsageDescription in Info.plist). Its handler
//   runs on an arbitrary queue, so the answer is moved to the main queue.
// - -[NSAlert addButtonWithTitle:]: the first button added answers
//   NSAlertFirstButtonReturn from -runModal and has Return as its key.
// - The microphone pane is opened through the System Settings deep link
//   "x-apple.systempreferences:com.apple.preference.security?Privacy_Microphone".
//   Apple does not document this URL; it is the pane's identifier and anchor
//   that System Preferences has long answered to and System Settings (macOS
//   13 and later) still resolves. Should it ever stop resolving, the user
//   lands in System Settings (or nothing opens) and reads the path in the
//   alert's text.

#import <AVFoundation/AVFoundation.h>
#import <AppKit/AppKit.h>

#include <memory>
#include <utility>

#include "app/launch_checks.h"
#include "base/log_line.h"

namespace pellum {
namespace {

NSString* const kMicrophoneSettingsURL =
    @"x-apple.systempreferences:com.apple.preference.security?Privacy_Microphone";

// Blocks copy what they capture; a shared pointer keeps the one std::function
// (and whatever it holds) alive until the main queue runs it.
void answerOnMainQueue(std::function<void(bool)> onAnswer, bool granted) {
  auto answer = std::make_shared<std::function<void(bool)>>(std::move(onAnswer));
  dispatch_async(dispatch_get_main_queue(), ^{
    (*answer)(granted);
  });
}

}  // namespace

std::optional<std::string> missingDesktopReason() {
  // A Mac always has its window server and menu bar for a status item.
  return std::nullopt;
}

void becomeAccessoryApplication() {
  [NSApplication sharedApplication];  // makes NSApp if Qt has not yet
  [NSApp setActivationPolicy:NSApplicationActivationPolicyAccessory];
}

void requestMicrophoneAccess(std::function<void(bool granted)> onAnswer) {
  switch ([AVCaptureDevice authorizationStatusForMediaType:AVMediaTypeAudio]) {
    case AVAuthorizationStatusNotDetermined: {
      auto answer = std::make_shared<std::function<void(bool)>>(std::move(onAnswer));
      [AVCaptureDevice requestAccessForMediaType:AVMediaTypeAudio
                               completionHandler:^(BOOL granted) {
                                 answerOnMainQueue(std::move(*answer), granted == YES);
                               }];
      return;
    }
    case AVAuthorizationStatusAuthorized:
      // Known, yet answered from the event loop: the rest of start-up then
      // runs there whether or not the user had to be asked.
      return answerOnMainQueue(std::move(onAnswer), true);
    case AVAuthorizationStatusRestricted:
    case AVAuthorizationStatusDenied:
      return onAnswer(false);
  }
  // A status newer than this code: a refusal, the safe side.
  onAnswer(false);
}

void showMicrophoneAccessAlert() {
  NSAlert* alert = [[NSAlert alloc] init];
  alert.alertStyle = NSAlertStyleWarning;
  alert.messageText = @"Microphone Access Required";
  alert.informativeText =
      @"Pellum needs microphone access. Enable it in System Settings > Privacy & Security > Microphone.";
  [alert addButtonWithTitle:@"Open Settings"];
  [alert addButtonWithTitle:@"Quit"];
  logLine("Pellum: microphone access is not granted; quitting");
  if ([alert runModal] != NSAlertFirstButtonReturn) return;
  NSURL* settings = [NSURL URLWithString:kMicrophoneSettingsURL];
  if (!settings || ![[NSWorkspace sharedWorkspace] openURL:settings])
    logLine("Pellum: System Settings could not be opened at the microphone pane");
}

}  // namespace pellum
