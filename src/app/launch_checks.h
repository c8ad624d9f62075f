#pragma once

#include <functional>
#include <optional>
#include <string>

namespace pellum {

// What the platform must settle before the desktop program makes anything:
// a desktop to run in, its place as a menu-bar (tray) program, and the
// microphone. Linux: launch_checks_linux.cpp; macOS: launch_checks_mac.mm.
//
// Main thread.

// Why the desktop program cannot run here at all (no window system to show
// a tray icon in), or nothing when it can.
std::optional<std::string> missingDesktopReason();

// Makes the program an accessory: no Dock icon, no menu bar of its own.
// Nothing to do where programs have no such presence.
void becomeAccessoryApplication();

// Whether the microphone may be used. Asks the user when the system has not
// asked yet. `onAnswer` runs exactly once, on the main thread: at once when
// the answer is known, later when the user has to decide.
void requestMicrophoneAccess(std::function<void(bool granted)> onAnswer);

// The modal alert for a microphone that cannot be used: "Microphone Access
// Required" with "Open Settings" and "Quit". Returns once the user chose;
// "Open Settings" has then opened the system's settings for it. The caller
// quits either way.
void showMicrophoneAccessAlert();

}  // namespace pellum
