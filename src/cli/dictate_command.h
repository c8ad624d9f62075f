#pragma once

#include <QStringList>

namespace pellum {

// `pellum dictate press|release|toggle|cancel`: hands the gesture to the
// running desktop program, for a key the desktop itself binds (Hyprland,
// river, GNOME, sway). Returns the exit status: 0 when the running program
// took it, 1 when none runs, 2 for a usage error.
int runDictateCommand(const QStringList& arguments);

}  // namespace pellum
