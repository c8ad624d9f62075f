#pragma once

#include <string>

namespace pellum {

// "Start at Login": whether the desktop starts Pellum when the user logs
// in, and the switch for it. On Linux that is an XDG autostart entry in
// $XDG_CONFIG_HOME/autostart (~/.config/autostart): the entry itself is the
// stored choice, so a desktop's own autostart settings and the menu never
// disagree.
//
// Threads: main thread.
class LoginItem {
 public:
  // Where the entry lives.
  static std::string entryPath();
  static bool isEnabled();
  // Writes the entry (starting the program at `executable`) or removes it.
  // Empty when done, else why not, in words.
  static std::string setEnabled(bool enabled, const std::string& executable);
};

}  // namespace pellum
