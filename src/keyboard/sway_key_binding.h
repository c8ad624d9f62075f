#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pellum {

// The dictation key as sway bindings: the sway commands that bind and unbind
// it, and the meaning of the binding events they produce. Pure logic.
//
// The bindings run `nop pellum-press` / `nop pellum-release` /
// `nop pellum-cancel`: sway does nothing with them but reports each as a
// "binding" event on its IPC socket.
enum class SwayKeySignal { press, release, cancel };

// Whether `keysymName` can go into a sway command as it is: sway takes
// xkb keysym names, and anything else (blanks, ';', quotes) could run a
// command of its own.
bool isSafeSwayKeyName(std::string_view keysymName);

// "bindsym --no-repeat K nop pellum-press; bindsym --release K nop pellum-release"
std::string swayBindKeyCommand(std::string_view keysymName);
std::string swayUnbindKeyCommand(std::string_view keysymName);
std::string swayBindCancelCommand();
std::string swayUnbindCancelCommand();

// The signal a "binding" event payload carries; nothing for other bindings
// (the user's own) or a payload that is not one.
std::optional<SwayKeySignal> swayKeySignalFrom(std::string_view eventPayload);

// The first error in a RUN_COMMAND reply ([{"success":false,"error":...}]);
// nothing when every command succeeded. A reply that is not sway's counts
// as an error.
std::optional<std::string> swayCommandError(std::string_view replyPayload);

}  // namespace pellum
