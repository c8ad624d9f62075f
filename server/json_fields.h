#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>

namespace pellum::server {

// Fields of a peer's JSON read without trusting its shape: a missing key or
// a value of another type reads as empty, never as an exception.

// The string at `key`, or "" when `value` is no object or holds none there.
inline std::string stringAt(const nlohmann::json& value, std::string_view key) {
  if (!value.is_object()) return {};
  const auto found = value.find(key);
  return found != value.end() && found->is_string() ? found->get<std::string>() : std::string();
}

// The object at `key`, or an empty object.
inline const nlohmann::json& objectAt(const nlohmann::json& value, std::string_view key) {
  static const nlohmann::json none = nlohmann::json::object();
  if (!value.is_object()) return none;
  const auto found = value.find(key);
  return found != value.end() && found->is_object() ? *found : none;
}

}  // namespace pellum::server
