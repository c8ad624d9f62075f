#include "json_text.h"

#include <nlohmann/json.hpp>

namespace pellum::server {
namespace {

std::string message(std::string_view type, std::string_view key, std::string_view value) {
  return std::string(R"({"type":")") + std::string(type) + R"(",")" + std::string(key) +
         "\":" + asciiJsonString(value) + "}";
}

}  // namespace

std::string asciiJsonString(std::string_view text) {
  const nlohmann::json value = std::string(text);
  return value.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
}

std::string rawMessage(std::string_view text) { return message("raw", "text", text); }
std::string chunkMessage(std::string_view text) { return message("chunk", "text", text); }
std::string doneMessage() { return R"({"type":"done"})"; }
std::string errorMessage(std::string_view error) { return message("error", "error", error); }

ClientText classifyClientText(std::string_view payload) {
  const auto value = nlohmann::json::parse(payload, nullptr, false);
  if (value.is_discarded()) return ClientText::notJson;
  if (!value.is_object()) return ClientText::unknown;
  const auto type = value.find("type");
  if (type != value.end() && type->is_string() && type->get<std::string>() == "stop") return ClientText::stop;
  return ClientText::unknown;
}

}  // namespace pellum::server
