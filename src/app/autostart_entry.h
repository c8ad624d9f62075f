#pragma once

#include <string>
#include <string_view>

namespace pellum {

// The XDG autostart entry that starts Pellum when the user logs in
// (~/.config/autostart/pellum.desktop): its text, and whether an existing
// entry's text still starts the program.

// The entry for `executable`, an absolute path, quoted as desktop entries
// require when it holds spaces or other reserved characters.
std::string autostartEntryText(std::string_view executable);

// False when the entry is switched off the ways desktops do it (Hidden=true,
// X-GNOME-Autostart-enabled=false) or is no application entry at all.
bool autostartEntryStartsProgram(std::string_view text);

// `argument` as one argument of an Exec line.
std::string execArgument(std::string_view argument);

}  // namespace pellum
