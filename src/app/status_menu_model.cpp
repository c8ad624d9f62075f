#include "app/status_menu_model.h"

#include <algorithm>

#include "transcription/gladia_languages.h"

namespace pellum {
namespace {

using Item = MenuItem;

bool contains(const std::vector<std::string>& list, const std::string& value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

std::vector<Item> languagesToGuessFrom(const StatusMenuInputs& in) {
  const std::vector<std::string> chosen = in.storedCodeSwitching.value_or(in.keyboardLanguages);
  const auto& table = GladiaLanguages::languagesByCode();
  std::vector<Item> rows;
  for (const auto& code : in.keyboardLanguages) {
    if (!table.contains(code)) continue;
    rows.push_back(Item::item(GladiaLanguages::displayName(code), MenuAction::toggleCodeSwitchingLanguage,
                              contains(chosen, code), code));
  }
  std::vector<std::pair<std::string, std::string>> others;  // (shown name, code)
  for (const auto& code : chosen) {
    if (!contains(in.keyboardLanguages, code)) others.emplace_back(GladiaLanguages::displayName(code), code);
  }
  std::stable_sort(others.begin(), others.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  if (!others.empty()) {
    rows.push_back(Item::separator());
    for (const auto& [name, code] : others)
      rows.push_back(Item::item(name, MenuAction::toggleCodeSwitchingLanguage, true, code));
  }
  rows.push_back(Item::separator());
  rows.push_back(Item::item("Add More Languages\u2026", MenuAction::openLanguagePicker));
  rows.push_back(Item::item("Reset to Keyboard Input Sources", MenuAction::resetCodeSwitchingLanguages));
  return rows;
}

Item languageMenu(const StatusMenuInputs& in) {
  return Item::submenu(
      "Language",
      {Item::item("Current Keyboard Language", MenuAction::selectKeyboardLanguage, !in.codeSwitching),
       Item::item("Guess Language", MenuAction::selectCodeSwitchingMode, in.codeSwitching), Item::separator(),
       Item::submenu("Languages to Guess From", languagesToGuessFrom(in))});
}

Item translateMenu(const StatusMenuInputs& in) {
  std::vector<Item> rows;
  if (in.translateTo) {
    rows.push_back(Item::item(GladiaLanguages::displayName(*in.translateTo),
                              MenuAction::selectCurrentTranslationTarget, true));
    rows.push_back(Item::separator());
  }
  rows.push_back(Item::item("None", MenuAction::selectNoTranslation, !in.translateTo));
  rows.push_back(Item::item("Choose Language\u2026", MenuAction::openTranslationPicker));
  return Item::submenu("Translate to", std::move(rows));
}

Item microphoneMenu(const StatusMenuInputs& in) {
  std::string automatic = "Automatic";
  if (!in.storedDeviceUID && in.automaticDevice) automatic += " (using " + in.automaticDevice->name + ")";
  std::vector<Item> rows{Item::item(automatic, MenuAction::selectAutoMicrophone, !in.storedDeviceUID)};
  if (!in.devices.empty()) rows.push_back(Item::separator());
  for (const auto& device : in.devices) {
    const std::string kind = device.isBluetooth ? " (Bluetooth)" : device.isVirtual ? " (Virtual)" : "";
    rows.push_back(Item::item(device.name + kind, MenuAction::selectMicrophone,
                              in.storedDeviceUID == device.uid, device.uid));
  }
  return Item::submenu("Microphone", std::move(rows));
}

Item dictationKeyMenu(const StatusMenuInputs& in) {
  std::vector<Item> rows;
  if (in.dictationKeyForced && in.dictationKey) {
    rows.push_back(Item::label("Set by PELLUM_DICTATION_KEY: " + in.dictationKey->displayName));
  } else {
    const std::string current = in.dictationKey ? in.dictationKey->keysymName : std::string();
    bool listed = false;
    for (const auto& key : in.dictationKeys) {
      rows.push_back(Item::item(key.displayName, MenuAction::selectDictationKey, key.keysymName == current,
                                key.keysymName));
      listed = listed || key.keysymName == current;
    }
    // A key chosen with "Other…" is shown too, so the check mark has a row.
    if (!listed && in.dictationKey) {
      rows.push_back(Item::item(in.dictationKey->displayName, MenuAction::selectDictationKey, true, current));
    }
    if (!rows.empty()) rows.push_back(Item::separator());
    rows.push_back(Item::item("Other\u2026", MenuAction::openDictationKeyCapture));
  }
  rows.push_back(Item::separator());
  rows.push_back(Item::item("Hold or Tap", MenuAction::toggleHoldOrTap, in.holdOrTap));
  return Item::submenu("Dictation Key", std::move(rows));
}

}  // namespace

bool isChoice(MenuAction action) {
  switch (action) {
    case MenuAction::selectKeyboardLanguage:
    case MenuAction::selectCodeSwitchingMode:
    case MenuAction::toggleCodeSwitchingLanguage:
    case MenuAction::selectCurrentTranslationTarget:
    case MenuAction::selectNoTranslation:
    case MenuAction::selectRawMode:
    case MenuAction::selectCleanMode:
    case MenuAction::selectAutoMicrophone:
    case MenuAction::selectMicrophone:
    case MenuAction::selectSoundsOn:
    case MenuAction::selectSoundsOff:
    case MenuAction::selectDictationKey:
    case MenuAction::toggleHoldOrTap:
    case MenuAction::toggleKeepHistory:
    case MenuAction::toggleKeepRecordings:
    case MenuAction::toggleStartAtLogin:
      return true;
    case MenuAction::none:
    case MenuAction::openLanguagePicker:
    case MenuAction::resetCodeSwitchingLanguages:
    case MenuAction::openTranslationPicker:
    case MenuAction::openDictationKeyCapture:
    case MenuAction::pasteLastTranscript:
    case MenuAction::retryLastRecording:
    case MenuAction::copyRecentDictation:
    case MenuAction::clearHistory:
    case MenuAction::openHome:
    case MenuAction::signOut:
    case MenuAction::signIn:
    case MenuAction::checkForUpdates:
    case MenuAction::quit:
      return false;
  }
  return false;
}

// "Paste Last Transcript", "Retry Last Recording" when the last dictation
// failed, and the "Recent" submenu: the last ten texts (a click copies one),
// then what the history keeps.
static std::vector<Item> historyRows(const RecentDictationRows& history) {
  std::vector<Item> rows{Item::separator()};
  if (!history.texts.empty())
    rows.push_back(Item::item("Paste Last Transcript", MenuAction::pasteLastTranscript));
  if (history.retryableId) rows.push_back(Item::item("Retry Last Recording", MenuAction::retryLastRecording));
  std::vector<Item> recent;
  for (std::size_t i = 0; i < history.texts.size() && i < 10; ++i) {
    const auto& row = history.texts[i];
    recent.push_back(Item::item(menuTitleOf(row.text), MenuAction::copyRecentDictation, false, row.id));
  }
  if (recent.empty())
    recent.push_back(Item::label(history.keepHistory ? "No Recent Dictations" : "History Is Off"));
  recent.push_back(Item::separator());
  recent.push_back(Item::item("Clear History", MenuAction::clearHistory));
  recent.push_back(Item::item("Keep History", MenuAction::toggleKeepHistory, history.keepHistory));
  recent.push_back(Item::item("Keep Recordings", MenuAction::toggleKeepRecordings, history.keepRecordings));
  rows.push_back(Item::submenu("Recent", std::move(recent)));
  return rows;
}

std::vector<MenuItem> buildStatusMenu(const StatusMenuInputs& in) {
  std::vector<Item> menu;
  if (in.signedIn) {
    menu = {Item::label(in.keyLine),
            Item::separator(),
            languageMenu(in),
            translateMenu(in),
            Item::submenu(
                "Modes",
                {Item::item("Raw", MenuAction::selectRawMode, in.mode == TranscriptionMode::raw),
                 Item::item("Enhanced", MenuAction::selectCleanMode, in.mode == TranscriptionMode::clean)}),
            microphoneMenu(in),
            Item::submenu("Sounds", {Item::item("On", MenuAction::selectSoundsOn, !in.soundsOff),
                                     Item::item("Off", MenuAction::selectSoundsOff, in.soundsOff)}),
            dictationKeyMenu(in)};
    if (!in.pasteLine.empty()) menu.insert(menu.begin() + 1, Item::label(in.pasteLine));
    if (in.history) {
      auto rows = historyRows(*in.history);
      menu.insert(menu.end(), rows.begin(), rows.end());
    }
    menu.push_back(Item::separator());
    menu.push_back(Item::item("Home", MenuAction::openHome));
    menu.push_back(Item::item("Sign out", MenuAction::signOut));
  } else {
    menu = {Item::label("Not signed in"), Item::separator(),
            Item::item("Sign in with Pellum\u2026", MenuAction::signIn)};
  }
  menu.push_back(Item::separator());
  menu.push_back(Item::item("Start at Login", MenuAction::toggleStartAtLogin, in.startAtLogin));
  if (in.hasUpdater) menu.push_back(Item::item("Check for Updates\u2026", MenuAction::checkForUpdates));
  menu.push_back(Item::separator());
  menu.push_back(Item::item("Quit Pellum", MenuAction::quit));
  return menu;
}

std::string menuTitleOf(const std::string& text) {
  constexpr std::size_t kMaxCharacters = 40;
  std::string title;
  std::size_t characters = 0;
  bool blank = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r') {
      blank = !title.empty();
      continue;
    }
    const bool startsCharacter = (byte & 0xC0) != 0x80;
    if (startsCharacter && characters + (blank ? 1 : 0) >= kMaxCharacters) return title + "\u2026";
    if (blank) {
      title.push_back(' ');
      ++characters;
      blank = false;
    }
    if (startsCharacter) ++characters;
    title.push_back(text[i]);
  }
  return title;
}

std::vector<std::string> sortedByLanguageTable(std::vector<std::string> codes) {
  const auto all = GladiaLanguages::allLanguages();
  auto position = [&all](const std::string& code) {
    for (std::size_t i = 0; i < all.size(); ++i) {
      if (all[i].code == code) return i;
    }
    return all.size();
  };
  std::stable_sort(codes.begin(), codes.end(),
                   [&](const auto& a, const auto& b) { return position(a) < position(b); });
  return codes;
}

std::optional<std::vector<std::string>> toggleCodeSwitchingLanguage(const std::vector<std::string>& current,
                                                                    const std::string& code) {
  std::vector<std::string> list = current;
  if (const auto it = std::find(list.begin(), list.end(), code); it != list.end()) {
    if (list.size() < 2) return std::nullopt;
    list.erase(it);
  } else {
    list.push_back(code);
  }
  return sortedByLanguageTable(std::move(list));
}

}  // namespace pellum
