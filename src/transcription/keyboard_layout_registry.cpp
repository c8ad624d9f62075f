#include "transcription/keyboard_layout_registry.h"

#include <xkbcommon/xkbregistry.h>

namespace pellum {

const KeyboardLayoutRegistry& KeyboardLayoutRegistry::instance() {
  // A large XML file that does not change while we run.
  static const KeyboardLayoutRegistry registry;
  return registry;
}

KeyboardLayoutRegistry::KeyboardLayoutRegistry() {
  rxkb_context* context = rxkb_context_new(RXKB_CONTEXT_NO_FLAGS);
  if (!context) return;
  rxkb_context_set_log_level(context, RXKB_LOG_LEVEL_CRITICAL);
  if (rxkb_context_parse_default_ruleset(context)) {
    for (rxkb_layout* layout = rxkb_layout_first(context); layout; layout = rxkb_layout_next(layout)) {
      const char* variant = rxkb_layout_get_variant(layout);
      const char* description = rxkb_layout_get_description(layout);
      Entry entry{rxkb_layout_get_name(layout), variant ? variant : "", description ? description : "", {}};
      for (rxkb_iso639_code* code = rxkb_layout_get_iso639_first(layout); code;
           code = rxkb_iso639_code_next(code)) {
        entry.codes.emplace_back(rxkb_iso639_code_get_code(code));
      }
      entries_.push_back(std::move(entry));
    }
  }
  rxkb_context_unref(context);
}

KeyboardLayout KeyboardLayoutRegistry::byName(const std::string& name, const std::string& variant) const {
  KeyboardLayout layout{name, variant, {}};
  const Entry* base = nullptr;
  for (const Entry& entry : entries_) {
    if (entry.name != name) continue;
    if (entry.variant == variant && !entry.codes.empty()) {
      layout.iso639Codes = entry.codes;
      return layout;
    }
    if (entry.variant.empty()) base = &entry;
  }
  if (base) layout.iso639Codes = base->codes;
  return layout;
}

KeyboardLayout KeyboardLayoutRegistry::byDescription(const std::string& description) const {
  for (const Entry& entry : entries_) {
    if (entry.description == description) {
      // A variant without codes of its own speaks its base layout's language.
      return entry.codes.empty() ? byName(entry.name, {})
                                 : KeyboardLayout{entry.name, entry.variant, entry.codes};
    }
  }
  return {};
}

}  // namespace pellum
