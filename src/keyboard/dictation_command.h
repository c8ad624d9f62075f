#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pellum {

// What `pellum dictate press|release|toggle|cancel` asks of the running
// program: the dictation key's gestures, for desktops where the user binds
// a key to a command (Hyprland, river, GNOME) instead of the program
// watching the key itself.
enum class DictationCommand { press, release, toggle, cancel };

std::optional<DictationCommand> parseDictationCommand(std::string_view word);
std::string_view dictationCommandName(DictationCommand command);

// The command in the arguments a later start hands to the running program
// (["dictate", "press"]); nothing for any other arguments.
std::optional<DictationCommand> dictationCommandFrom(const std::vector<std::string>& arguments);

}  // namespace pellum
