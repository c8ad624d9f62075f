#include "keyboard/sway_key_binding.h"

#include <nlohmann/json.hpp>

namespace pellum {

namespace {

constexpr std::string_view kPress = "nop pellum-press";
constexpr std::string_view kRelease = "nop pellum-release";
constexpr std::string_view kCancel = "nop pellum-cancel";

bool isNameCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

}  // namespace

bool isSafeSwayKeyName(std::string_view keysymName) {
  if (keysymName.empty() || keysymName.size() > 64) return false;
  for (char c : keysymName) {
    if (!isNameCharacter(c)) return false;
  }
  return true;
}

std::string swayBindKeyCommand(std::string_view keysymName) {
  const std::string key(keysymName);
  // --no-repeat: one press for a long hold, however the repeat is set.
  return "bindsym --no-repeat " + key + " " + std::string(kPress) + "; bindsym --release " + key + " " +
         std::string(kRelease);
}

std::string swayUnbindKeyCommand(std::string_view keysymName) {
  const std::string key(keysymName);
  return "unbindsym --no-repeat " + key + "; unbindsym --release " + key;
}

std::string swayBindCancelCommand() { return "bindsym Escape " + std::string(kCancel); }

std::string swayUnbindCancelCommand() { return "unbindsym Escape"; }

std::optional<SwayKeySignal> swayKeySignalFrom(std::string_view eventPayload) {
  const auto event = nlohmann::json::parse(eventPayload, nullptr, false);
  if (!event.is_object()) return std::nullopt;
  const auto binding = event.find("binding");
  if (binding == event.end() || !binding->is_object()) return std::nullopt;
  const auto command = binding->find("command");
  if (command == binding->end() || !command->is_string()) return std::nullopt;
  const auto& text = command->get_ref<const std::string&>();
  if (text == kPress) return SwayKeySignal::press;
  if (text == kRelease) return SwayKeySignal::release;
  if (text == kCancel) return SwayKeySignal::cancel;
  return std::nullopt;
}

std::optional<std::string> swayCommandError(std::string_view replyPayload) {
  const auto reply = nlohmann::json::parse(replyPayload, nullptr, false);
  if (!reply.is_array() || reply.empty()) return "sway's answer is not a command reply";
  for (const auto& result : reply) {
    if (!result.is_object()) return "sway's answer is not a command reply";
    if (result.value("success", false)) continue;
    const auto error = result.find("error");
    return error != result.end() && error->is_string() ? error->get<std::string>()
                                                       : "sway refused the command";
  }
  return std::nullopt;
}

}  // namespace pellum
