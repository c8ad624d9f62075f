#include "app/autostart_entry.h"

#include <sstream>

#include "base/text.h"

namespace pellum {

std::string execArgument(std::string_view argument) {
  constexpr std::string_view kReserved = " \t\n\"'\\><~|&;$*?#()`=%";
  if (!argument.empty() && argument.find_first_of(kReserved) == std::string_view::npos)
    return std::string(argument);
  // Inside double quotes, ", `, $ and \ take a backslash; the value's own
  // escaping then doubles every backslash. A literal % is written %%.
  std::string quoted = "\"";
  for (const char c : argument) {
    if (c == '"' || c == '`' || c == '$') {
      quoted += "\\\\";
      quoted += c;
    } else if (c == '\\') {
      quoted += "\\\\\\\\";
    } else if (c == '%') {
      quoted += "%%";
    } else {
      quoted += c;
    }
  }
  return quoted + "\"";
}

std::string autostartEntryText(std::string_view executable) {
  return "[Desktop Entry]\n"
         "Type=Application\n"
         "Name=Pellum\n"
         "Comment=Hold a key, speak, and the words are typed where you are\n"
         "Exec=" +
         execArgument(executable) +
         "\n"
         "Icon=pellum\n"
         "Terminal=false\n"
         "NoDisplay=true\n"
         "X-GNOME-Autostart-enabled=true\n";
}

bool autostartEntryStartsProgram(std::string_view text) {
  std::istringstream lines{std::string(text)};
  std::string line;
  bool inMainGroup = false;
  bool application = false;
  bool hasExec = false;
  while (std::getline(lines, line)) {
    line = std::string(trimmed(line, " \t\r"));
    if (line.empty() || line.front() == '#') continue;
    if (line.front() == '[') {
      inMainGroup = line == "[Desktop Entry]";
      continue;
    }
    if (!inMainGroup) continue;
    const auto equals = line.find('=');
    if (equals == std::string::npos) continue;
    const std::string key(trimBlanks(std::string_view(line).substr(0, equals)));
    const std::string value(trimBlanks(std::string_view(line).substr(equals + 1)));
    if (key == "Type") application = value == "Application";
    if (key == "Exec") hasExec = !value.empty();
    if (key == "Hidden" && value == "true") return false;
    if (key == "X-GNOME-Autostart-enabled" && value == "false") return false;
  }
  return application && hasExec;
}

}  // namespace pellum
