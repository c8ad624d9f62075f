#include "engine_config.h"

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <charconv>
#include <map>
#include <sstream>

#include "provider_url.h"
#include "store_url.h"

namespace pellum::server {
namespace {

namespace pt = boost::property_tree;

using Section = std::map<std::string, std::string>;
using Sections = std::map<std::string, Section>;

// The keys each section may hold; anything else is a typo worth reporting.
const std::map<std::string, std::vector<std::string>>& knownKeys() {
  static const std::map<std::string, std::vector<std::string>> keys{
      {"engines", {"live", "upload", "cleanup"}},
      {"gladia",
       {"base_url", "api_key", "api_key_env", "region", "translation_model", "start_timeout_ms",
        "final_timeout_ms"}},
      {"openai",
       {"base_url", "api_key", "api_key_env", "model", "path", "detect_language", "prompt", "timeout_ms",
        "min_segment_ms"}},
      {"chat", {"base_url", "api_key", "api_key_env", "model", "timeout_ms"}},
      {"store", {"url"}},
  };
  return keys;
}

std::variant<Sections, ConfigError> readSections(std::string_view text) {
  pt::ptree tree;
  std::istringstream in{std::string(text)};
  try {
    pt::read_ini(in, tree);
  } catch (const pt::ini_parser_error& error) {
    return ConfigError{"line " + std::to_string(error.line()) + ": " + error.message()};
  }
  Sections sections;
  for (const auto& [name, section] : tree) {
    const auto known = knownKeys().find(name);
    if (section.empty()) return ConfigError{"\"" + name + "\" is outside any section"};
    if (known == knownKeys().end()) return ConfigError{"unknown section [" + name + "]"};
    for (const auto& [key, value] : section) {
      if (std::find(known->second.begin(), known->second.end(), key) == known->second.end())
        return ConfigError{"unknown key \"" + key + "\" in [" + name + "]"};
      sections[name][key] = value.data();
    }
  }
  return sections;
}

std::optional<std::string> valueOf(const Sections& sections, const std::string& section,
                                   const std::string& key) {
  const auto found = sections.find(section);
  if (found == sections.end()) return std::nullopt;
  const auto value = found->second.find(key);
  if (value == found->second.end()) return std::nullopt;
  return value->second;
}

std::optional<std::string> readMilliseconds(const Sections& sections, const std::string& section,
                                            const std::string& key, std::chrono::milliseconds& out, int min) {
  const auto text = valueOf(sections, section, key);
  if (!text) return std::nullopt;
  int value = 0;
  const auto [end, ec] = std::from_chars(text->data(), text->data() + text->size(), value);
  if (ec != std::errc{} || end != text->data() + text->size() || value < min || value > 600000)
    return key + " in [" + section + "] expects milliseconds from " + std::to_string(min) + " to 600000";
  out = std::chrono::milliseconds(value);
  return std::nullopt;
}

// The variable a service's key is read from when the file has none.
std::string keyVariable(const Sections& sections, const std::string& section, const std::string& baseUrl) {
  if (auto named = valueOf(sections, section, "api_key_env")) return *named;
  if (section == "gladia") return "GLADIA_API_KEY";
  const auto url = parseProviderUrl(baseUrl);
  const std::string host = url ? url->host : "";
  if (host == "api.groq.com") return "GROQ_API_KEY";
  if (host == "api.openai.com") return "OPENAI_API_KEY";
  return "";
}

ApiKey readKey(const Sections& sections, const std::string& section, const std::string& baseUrl,
               const Environment& environment) {
  if (auto key = valueOf(sections, section, "api_key"); key && !key->empty())
    return ApiKey{*key, "api_key in [" + section + "]"};
  const std::string variable = keyVariable(sections, section, baseUrl);
  if (variable.empty()) return {};
  if (auto key = environment(variable); key && !key->empty()) return ApiKey{*key, variable};
  return ApiKey{"", variable};  // named, so an error can say where a key was looked for
}

std::optional<std::string> readBaseUrl(const Sections& sections, const std::string& section,
                                       std::string& out) {
  if (auto url = valueOf(sections, section, "base_url")) out = *url;
  if (out.empty() && section == "chat") return std::nullopt;
  if (!parseProviderUrl(out))
    return "base_url in [" + section + "] is not an http or https URL: \"" + out + "\"";
  return std::nullopt;
}

std::optional<EngineKind> engineOf(const std::string& name) {
  if (name == "pocketsphinx") return EngineKind::pocketsphinx;
  if (name == "gladia") return EngineKind::gladia;
  if (name == "openai") return EngineKind::openai;
  return std::nullopt;
}

std::optional<std::string> readEngines(const Sections& sections, EngineConfig& config) {
  if (auto live = valueOf(sections, "engines", "live")) {
    auto kind = engineOf(*live);
    if (!kind) return "live in [engines] expects pocketsphinx, gladia or openai, got \"" + *live + "\"";
    config.live = *kind;
  }
  if (auto upload = valueOf(sections, "engines", "upload")) {
    auto kind = engineOf(*upload);
    if (!kind || kind == EngineKind::gladia)
      return "upload in [engines] expects pocketsphinx or openai, got \"" + *upload + "\"";
    config.upload = *kind;
  }
  if (auto cleanup = valueOf(sections, "engines", "cleanup")) {
    if (*cleanup != "builtin" && *cleanup != "chat")
      return "cleanup in [engines] expects builtin or chat, got \"" + *cleanup + "\"";
    config.cleanup = *cleanup == "chat" ? CleanupKind::chat : CleanupKind::builtIn;
  }
  return std::nullopt;
}

std::optional<std::string> readGladia(const Sections& sections, GladiaSettings& gladia,
                                      const Environment& environment) {
  if (auto error = readBaseUrl(sections, "gladia", gladia.baseUrl)) return error;
  gladia.key = readKey(sections, "gladia", gladia.baseUrl, environment);
  gladia.region = valueOf(sections, "gladia", "region").value_or("");
  if (!gladia.region.empty() && gladia.region != "us-west" && gladia.region != "eu-west")
    return "region in [gladia] expects us-west or eu-west, got \"" + gladia.region + "\"";
  gladia.translationModel = valueOf(sections, "gladia", "translation_model").value_or("base");
  if (gladia.translationModel != "base" && gladia.translationModel != "enhanced")
    return "translation_model in [gladia] expects base or enhanced, got \"" + gladia.translationModel + "\"";
  if (auto error = readMilliseconds(sections, "gladia", "start_timeout_ms", gladia.startTimeout, 1))
    return error;
  return readMilliseconds(sections, "gladia", "final_timeout_ms", gladia.finalTimeout, 1);
}

std::optional<std::string> readOpenAi(const Sections& sections, OpenAiSettings& openai,
                                      const Environment& environment) {
  if (auto error = readBaseUrl(sections, "openai", openai.baseUrl)) return error;
  openai.key = readKey(sections, "openai", openai.baseUrl, environment);
  openai.model = valueOf(sections, "openai", "model").value_or(openai.model);
  openai.path = valueOf(sections, "openai", "path").value_or(openai.path);
  if (openai.path.empty() || openai.path.front() != '/')
    return std::string("path in [openai] must start with /");
  openai.detectLanguage = valueOf(sections, "openai", "detect_language").value_or("");
  openai.prompt = valueOf(sections, "openai", "prompt").value_or("");
  // Groq bills every request as at least ten seconds of audio.
  const auto url = parseProviderUrl(openai.baseUrl);
  if (url && url->host == "api.groq.com") openai.minSegment = std::chrono::seconds(10);
  if (auto error = readMilliseconds(sections, "openai", "timeout_ms", openai.timeout, 1)) return error;
  return readMilliseconds(sections, "openai", "min_segment_ms", openai.minSegment, 0);
}

std::optional<std::string> readChat(const Sections& sections, ChatSettings& chat,
                                    const Environment& environment) {
  if (auto error = readBaseUrl(sections, "chat", chat.baseUrl)) return error;
  chat.key = readKey(sections, "chat", chat.baseUrl, environment);
  chat.model = valueOf(sections, "chat", "model").value_or("");
  return readMilliseconds(sections, "chat", "timeout_ms", chat.timeout, 1);
}

// What the chosen engines cannot do without.
std::optional<std::string> checkNeeds(const EngineConfig& config) {
  if (config.live == EngineKind::gladia && config.gladia.key.empty()) {
    return "the gladia engine needs an API key: set api_key in [gladia] or " +
           (config.gladia.key.source.empty() ? std::string("GLADIA_API_KEY") : config.gladia.key.source);
  }
  if (config.cleanup == CleanupKind::chat && (config.chat.baseUrl.empty() || config.chat.model.empty()))
    return std::string("cleanup = chat needs base_url and model in [chat]");
  return std::nullopt;
}

}  // namespace

std::string_view engineName(EngineKind kind) {
  switch (kind) {
    case EngineKind::pocketsphinx:
      return "pocketsphinx";
    case EngineKind::gladia:
      return "gladia";
    case EngineKind::openai:
      return "openai";
  }
  return "?";
}

std::optional<std::string> readStore(const Sections& sections, EngineConfig& config) {
  config.storeUrl = valueOf(sections, "store", "url").value_or("");
  if (!isStoreUrl(config.storeUrl))
    return "url in [store] expects a postgresql:// URL, got \"" + withoutPassword(config.storeUrl) + "\"";
  return std::nullopt;
}

std::variant<EngineConfig, ConfigError> parseEngineConfig(std::string_view text,
                                                          const Environment& environment) {
  auto read = readSections(text);
  if (auto* error = std::get_if<ConfigError>(&read)) return *error;
  const auto& sections = std::get<Sections>(read);
  EngineConfig config;
  for (auto error :
       {readEngines(sections, config), readGladia(sections, config.gladia, environment),
        readOpenAi(sections, config.openai, environment), readChat(sections, config.chat, environment),
        readStore(sections, config), checkNeeds(config)}) {
    if (error) return ConfigError{*error};
  }
  return config;
}

std::string defaultEngineConfigPath(const Environment& environment) {
  if (auto xdg = environment("XDG_CONFIG_HOME"); xdg && !xdg->empty())
    return *xdg + "/pellum-server/engines.conf";
  return environment("HOME").value_or(".") + "/.config/pellum-server/engines.conf";
}

}  // namespace pellum::server
