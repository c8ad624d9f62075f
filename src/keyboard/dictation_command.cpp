#include "keyboard/dictation_command.h"

namespace pellum {

std::optional<DictationCommand> parseDictationCommand(std::string_view word) {
  if (word == "press") return DictationCommand::press;
  if (word == "release") return DictationCommand::release;
  if (word == "toggle") return DictationCommand::toggle;
  if (word == "cancel") return DictationCommand::cancel;
  return std::nullopt;
}

std::string_view dictationCommandName(DictationCommand command) {
  switch (command) {
    case DictationCommand::press:
      return "press";
    case DictationCommand::release:
      return "release";
    case DictationCommand::toggle:
      return "toggle";
    case DictationCommand::cancel:
      return "cancel";
  }
  return "";
}

std::optional<DictationCommand> dictationCommandFrom(const std::vector<std::string>& arguments) {
  if (arguments.size() != 2 || arguments[0] != "dictate") return std::nullopt;
  return parseDictationCommand(arguments[1]);
}

}  // namespace pellum
