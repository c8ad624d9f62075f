#include "app/status_menu_model.h"

#include <gtest/gtest.h>

#include <functional>

namespace pellum {
namespace {

using Item = MenuItem;
using Kind = MenuItem::Kind;

std::vector<std::string> titles(const std::vector<Item>& items) {
  std::vector<std::string> out;
  for (const auto& item : items) out.push_back(item.kind == Kind::separator ? "---" : item.title);
  return out;
}

const Item& child(const std::vector<Item>& items, const std::string& title) {
  for (const auto& item : items) {
    if (item.title == title) return item;
  }
  static const Item none;
  ADD_FAILURE() << "no item titled " << title;
  return none;
}

StatusMenuInputs signedIn() {
  StatusMenuInputs in;
  in.signedIn = true;
  in.keyLine = "Hold Right Ctrl to dictate";
  in.keyboardLanguages = {"en", "de"};
  return in;
}

TEST(StatusMenu, SignedOutRows) {
  StatusMenuInputs in;
  EXPECT_EQ(titles(buildStatusMenu(in)),
            (std::vector<std::string>{"Not signed in", "---", "Sign in with Pellum\u2026", "---",
                                      "Start at Login", "---", "Quit Pellum"}));
  in.hasUpdater = true;
  EXPECT_EQ(titles(buildStatusMenu(in)),
            (std::vector<std::string>{"Not signed in", "---", "Sign in with Pellum\u2026", "---",
                                      "Start at Login", "Check for Updates\u2026", "---", "Quit Pellum"}));
  EXPECT_EQ(buildStatusMenu(in)[0].kind, Kind::label);
  EXPECT_EQ(buildStatusMenu(in)[2].action, MenuAction::signIn);
}

TEST(StatusMenu, SignedInRowsInOrder) {
  const auto menu = buildStatusMenu(signedIn());
  EXPECT_EQ(titles(menu),
            (std::vector<std::string>{"Hold Right Ctrl to dictate", "---", "Language", "Translate to",
                                      "Modes", "Microphone", "Sounds", "Dictation Key", "---", "Home",
                                      "Sign out", "---", "Start at Login", "---", "Quit Pellum"}));
  EXPECT_EQ(menu[0].kind, Kind::label);
  EXPECT_EQ(menu[9].action, MenuAction::openHome);
  EXPECT_EQ(menu[10].action, MenuAction::signOut);
}

TEST(StatusMenu, APartialPasteIsSaidUnderTheKeyLine) {
  StatusMenuInputs in = signedIn();
  in.pasteLine = "Pasting works only in X11 applications here";
  const auto menu = buildStatusMenu(in);
  ASSERT_GE(menu.size(), 3u);
  EXPECT_EQ(menu[0].title, "Hold Right Ctrl to dictate");
  EXPECT_EQ(menu[1].title, in.pasteLine);
  EXPECT_EQ(menu[1].kind, Kind::label);
  EXPECT_EQ(menu[2].kind, Kind::separator);
}

TEST(StatusMenu, RecentDictationRowsFollowTheDictationKey) {
  auto in = signedIn();
  in.history = RecentDictationRows{{{"7", "Newest text"}, {"5", "Older text"}}, "8", true, false};
  const auto menu = buildStatusMenu(in);
  EXPECT_EQ(titles(menu),
            (std::vector<std::string>{"Hold Right Ctrl to dictate", "---", "Language", "Translate to",
                                      "Modes", "Microphone", "Sounds", "Dictation Key", "---",
                                      "Paste Last Transcript", "Retry Last Recording", "Recent", "---",
                                      "Home", "Sign out", "---", "Start at Login", "---", "Quit Pellum"}));
  EXPECT_EQ(menu[9].action, MenuAction::pasteLastTranscript);
  EXPECT_EQ(menu[10].action, MenuAction::retryLastRecording);
  const auto& recent = menu[11].children;
  EXPECT_EQ(titles(recent), (std::vector<std::string>{"Newest text", "Older text", "---", "Clear History",
                                                      "Keep History", "Keep Recordings"}));
  EXPECT_EQ(recent[0].action, MenuAction::copyRecentDictation);
  EXPECT_EQ(recent[0].representedObject, "7");
  EXPECT_TRUE(recent[4].checked);
  EXPECT_FALSE(recent[5].checked);
}

TEST(StatusMenu, WithNothingToPasteOrRetryOnlyTheRecentSubmenuShows) {
  auto in = signedIn();
  in.history = RecentDictationRows{};
  auto menu = buildStatusMenu(in);
  EXPECT_EQ(menu[9].title, "Recent");
  EXPECT_EQ(menu[9].children.front().title, "No Recent Dictations");
  EXPECT_EQ(menu[9].children.front().kind, Kind::label);
  in.history->keepHistory = false;
  menu = buildStatusMenu(in);
  EXPECT_EQ(menu[9].children.front().title, "History Is Off");
  EXPECT_FALSE(menu[9].children[3].checked);
}

TEST(StatusMenu, RecentShowsTenShortenedTexts) {
  auto in = signedIn();
  in.history = RecentDictationRows{};
  for (int i = 0; i < 12; ++i) in.history->texts.push_back({std::to_string(i), "text " + std::to_string(i)});
  const auto menu = buildStatusMenu(in);
  EXPECT_EQ(menu[10].children.size(), 10u + 4u);
  EXPECT_EQ(menu[10].children[9].title, "text 9");
}

TEST(StatusMenu, MenuTitlesOfDictationsAreOneShortLine) {
  EXPECT_EQ(menuTitleOf("  Hello\n\nworld  "), "Hello world");
  EXPECT_EQ(menuTitleOf(std::string(40, 'a')), std::string(40, 'a'));
  EXPECT_EQ(menuTitleOf(std::string(41, 'a')), std::string(40, 'a') + "\u2026");
  // Characters, not bytes, and never cut inside one.
  const std::string e = "\u00e9";
  std::string long_;
  for (int i = 0; i < 45; ++i) long_ += e;
  std::string expected;
  for (int i = 0; i < 40; ++i) expected += e;
  EXPECT_EQ(menuTitleOf(long_), expected + "\u2026");
  // No blank before the ellipsis.
  EXPECT_EQ(menuTitleOf(std::string(39, 'a') + " bcd"), std::string(39, 'a') + "\u2026");
  EXPECT_EQ(menuTitleOf(""), "");
}

TEST(StatusMenu, NoUpdaterNoUpdateRowAndNoSeparatorForIt) {
  const auto menu = buildStatusMenu(signedIn());
  for (const auto& item : menu) EXPECT_NE(item.title, "Check for Updates\u2026");
  EXPECT_EQ(menu.size(), 15u);
}

TEST(StatusMenu, UpdateRowSitsWithStartAtLogin) {
  auto in = signedIn();
  in.hasUpdater = true;
  const auto menu = buildStatusMenu(in);
  ASSERT_EQ(menu.size(), 16u);
  EXPECT_EQ(menu[12].action, MenuAction::toggleStartAtLogin);
  EXPECT_EQ(menu[13].action, MenuAction::checkForUpdates);
  EXPECT_EQ(menu[14].kind, Kind::separator);
  EXPECT_EQ(menu[15].action, MenuAction::quit);
}

TEST(StatusMenu, StartAtLoginIsTickedFromTheInputs) {
  auto in = signedIn();
  EXPECT_FALSE(child(buildStatusMenu(in), "Start at Login").checked);
  in.startAtLogin = true;
  EXPECT_TRUE(child(buildStatusMenu(in), "Start at Login").checked);
  EXPECT_TRUE(isChoice(MenuAction::toggleStartAtLogin));
}

TEST(StatusMenu, LanguageSubmenu) {
  auto in = signedIn();
  const auto language = child(buildStatusMenu(in), "Language").children;
  EXPECT_EQ(titles(language), (std::vector<std::string>{"Current Keyboard Language", "Guess Language", "---",
                                                        "Languages to Guess From"}));
  EXPECT_TRUE(language[0].checked);
  EXPECT_FALSE(language[1].checked);
  in.codeSwitching = true;
  const auto switched = child(buildStatusMenu(in), "Language").children;
  EXPECT_FALSE(switched[0].checked);
  EXPECT_TRUE(switched[1].checked);
  EXPECT_EQ(switched[1].action, MenuAction::selectCodeSwitchingMode);
}

TEST(StatusMenu, GuessLanguageWithNoStoredListShowsTheKeyboardDefaultChecked) {
  auto in = signedIn();
  in.codeSwitching = true;
  const auto guess =
      child(child(buildStatusMenu(in), "Language").children, "Languages to Guess From").children;
  EXPECT_EQ(titles(guess), (std::vector<std::string>{"English", "German", "---", "Add More Languages\u2026",
                                                     "Reset to Keyboard Input Sources"}));
  EXPECT_TRUE(guess[0].checked);
  EXPECT_TRUE(guess[1].checked);
  EXPECT_EQ(guess[0].representedObject, "en");
  EXPECT_EQ(guess[0].action, MenuAction::toggleCodeSwitchingLanguage);
}

TEST(StatusMenu, OtherChosenLanguagesSortedByNameAlwaysChecked) {
  auto in = signedIn();
  in.storedCodeSwitching = std::vector<std::string>{"en", "xx", "fr", "ja"};
  const auto guess =
      child(child(buildStatusMenu(in), "Language").children, "Languages to Guess From").children;
  EXPECT_EQ(titles(guess),
            (std::vector<std::string>{"English", "German", "---", "French", "Japanese", "XX", "---",
                                      "Add More Languages\u2026", "Reset to Keyboard Input Sources"}));
  EXPECT_TRUE(guess[0].checked);
  EXPECT_FALSE(guess[1].checked);  // German is a keyboard language not in the stored list
  EXPECT_TRUE(guess[3].checked && guess[4].checked && guess[5].checked);
  EXPECT_EQ(guess[5].representedObject, "xx");
}

TEST(StatusMenu, KeyboardLanguageUnknownToTheTableIsNotOffered) {
  auto in = signedIn();
  in.keyboardLanguages = {"en", "ku"};
  const auto guess =
      child(child(buildStatusMenu(in), "Language").children, "Languages to Guess From").children;
  for (const auto& row : guess) EXPECT_NE(row.representedObject, "ku");
}

TEST(StatusMenu, TranslateToWithoutTarget) {
  const auto translate = child(buildStatusMenu(signedIn()), "Translate to").children;
  EXPECT_EQ(titles(translate), (std::vector<std::string>{"None", "Choose Language\u2026"}));
  EXPECT_TRUE(translate[0].checked);
  EXPECT_EQ(translate[1].action, MenuAction::openTranslationPicker);
}

TEST(StatusMenu, TranslateToCodeMissingFromTheTableShowsItUpperCased) {
  auto in = signedIn();
  in.translateTo = "xq";
  const auto translate = child(buildStatusMenu(in), "Translate to").children;
  EXPECT_EQ(titles(translate), (std::vector<std::string>{"XQ", "---", "None", "Choose Language\u2026"}));
  EXPECT_TRUE(translate[0].checked);
  EXPECT_FALSE(translate[2].checked);
  EXPECT_EQ(translate[0].action, MenuAction::selectCurrentTranslationTarget);
}

TEST(StatusMenu, ModesAndSounds) {
  auto in = signedIn();
  in.mode = TranscriptionMode::raw;
  in.soundsOff = true;
  const auto menu = buildStatusMenu(in);
  const auto modes = child(menu, "Modes").children;
  EXPECT_EQ(titles(modes), (std::vector<std::string>{"Raw", "Enhanced"}));
  EXPECT_TRUE(modes[0].checked);
  EXPECT_FALSE(modes[1].checked);
  const auto sounds = child(menu, "Sounds").children;
  EXPECT_FALSE(sounds[0].checked);
  EXPECT_TRUE(sounds[1].checked);
}

StatusMenuInputs withKeys(std::vector<std::string> names, const std::string& current) {
  auto in = signedIn();
  for (const auto& name : names) in.dictationKeys.push_back(describeDictationKey(0, name));
  if (!current.empty()) in.dictationKey = describeDictationKey(0, current);
  return in;
}

TEST(StatusMenu, DictationKeyRowsOfferTheKeyboardsKeysWithTheOneInUseChecked) {
  const auto keys =
      child(buildStatusMenu(withKeys({"Control_R", "Menu", "F13"}, "Control_R")), "Dictation Key").children;
  EXPECT_EQ(titles(keys), (std::vector<std::string>{"Right Ctrl", "Menu", "F13", "---", "Other\u2026", "---",
                                                    "Hold or Tap"}));
  EXPECT_TRUE(keys[0].checked);
  EXPECT_FALSE(keys[1].checked);
  EXPECT_EQ(keys[1].action, MenuAction::selectDictationKey);
  EXPECT_EQ(keys[1].representedObject, "Menu");
  EXPECT_EQ(keys[4].action, MenuAction::openDictationKeyCapture);
  EXPECT_EQ(keys[6].action, MenuAction::toggleHoldOrTap);
  EXPECT_FALSE(keys[6].checked);
}

TEST(StatusMenu, AKeyChosenWithOtherGetsACheckedRowOfItsOwn) {
  const auto keys = child(buildStatusMenu(withKeys({"Control_R"}, "KP_Add")), "Dictation Key").children;
  EXPECT_EQ(titles(keys),
            (std::vector<std::string>{"Right Ctrl", "KP Add", "---", "Other\u2026", "---", "Hold or Tap"}));
  EXPECT_FALSE(keys[0].checked);
  EXPECT_TRUE(keys[1].checked);
  EXPECT_EQ(keys[1].representedObject, "KP_Add");
}

TEST(StatusMenu, AKeyFixedByTheEnvironmentIsShownNotOffered) {
  auto in = withKeys({"Control_R", "Menu"}, "F12");
  in.dictationKeyForced = true;
  in.holdOrTap = true;
  const auto keys = child(buildStatusMenu(in), "Dictation Key").children;
  EXPECT_EQ(titles(keys),
            (std::vector<std::string>{"Set by PELLUM_DICTATION_KEY: F12", "---", "Hold or Tap"}));
  EXPECT_EQ(keys[0].kind, Kind::label);
  EXPECT_TRUE(keys[2].checked);
}

TEST(StatusMenu, WithoutAnyKeyOnlyOtherAndTheModeAreOffered) {
  const auto keys = child(buildStatusMenu(withKeys({}, "")), "Dictation Key").children;
  EXPECT_EQ(titles(keys), (std::vector<std::string>{"Other\u2026", "---", "Hold or Tap"}));
}

TEST(StatusMenu, MicrophoneRows) {
  auto in = signedIn();
  in.devices = {{1, "builtin", "Built-in Audio", false, true},
                {2, "bt", "Headset", true, false},
                {3, "easyeffects_source", "Easy Effects Source", false, false, true}};
  in.automaticDevice = in.devices[0];
  auto microphone = child(buildStatusMenu(in), "Microphone").children;
  EXPECT_EQ(titles(microphone),
            (std::vector<std::string>{"Automatic (using Built-in Audio)", "---", "Built-in Audio",
                                      "Headset (Bluetooth)", "Easy Effects Source (Virtual)"}));
  EXPECT_TRUE(microphone[0].checked);
  EXPECT_EQ(microphone[3].representedObject, "bt");
  in.storedDeviceUID = "bt";
  microphone = child(buildStatusMenu(in), "Microphone").children;
  EXPECT_EQ(microphone[0].title, "Automatic");
  EXPECT_FALSE(microphone[0].checked);
  EXPECT_TRUE(microphone[3].checked);
}

TEST(StatusMenu, EmptyDeviceListHasOnlyTheAutomaticRow) {
  const auto microphone = child(buildStatusMenu(signedIn()), "Microphone").children;
  EXPECT_EQ(titles(microphone), (std::vector<std::string>{"Automatic"}));
}

TEST(StatusMenu, StoredDeviceNotListedChecksNothing) {
  auto in = signedIn();
  in.devices = {{1, "usb", "USB Mic", false, false}};
  in.storedDeviceUID = "gone";
  const auto microphone = child(buildStatusMenu(in), "Microphone").children;
  for (const auto& row : microphone) EXPECT_FALSE(row.checked) << row.title;
}

StatusMenuInputs everyRow() {
  auto in = withKeys({"Control_R", "Menu"}, "KP_Add");
  in.codeSwitching = true;
  in.storedCodeSwitching = std::vector<std::string>{"en", "fr"};
  in.translateTo = "de";
  in.devices = {{1, "usb", "USB Mic", false, false}};
  in.storedDeviceUID = "usb";
  in.holdOrTap = true;
  in.hasUpdater = true;
  return in;
}

void forEachRow(const std::vector<Item>& items, const std::function<void(const Item&)>& visit) {
  for (const auto& item : items) {
    visit(item);
    forEachRow(item.children, visit);
  }
}

TEST(StatusMenu, EveryActionRowHasAnActionAndNoOtherRowHasOne) {
  StatusMenuInputs signedOut;
  signedOut.hasUpdater = true;
  for (const auto& in : {everyRow(), signedOut}) {
    forEachRow(buildStatusMenu(in), [](const Item& row) {
      if (row.kind == Kind::action)
        EXPECT_NE(row.action, MenuAction::none) << row.title;
      else
        EXPECT_EQ(row.action, MenuAction::none) << row.title;
    });
  }
}

TEST(StatusMenu, EveryCheckedRowIsAChoiceSoItsCheckMarkShows) {
  int checked = 0;
  forEachRow(buildStatusMenu(everyRow()), [&checked](const Item& row) {
    if (!row.checked) return;
    ++checked;
    EXPECT_TRUE(isChoice(row.action)) << row.title;
  });
  // Guess Language, English, French, German (translation), Enhanced, USB Mic,
  // On, KP Add, Hold or Tap.
  EXPECT_EQ(checked, 9);
}

TEST(StatusMenu, RowsThatSelectOrToggleAreChoicesAndRowsThatOpenOrDoAreNot) {
  for (const auto action :
       {MenuAction::selectKeyboardLanguage, MenuAction::selectCodeSwitchingMode,
        MenuAction::toggleCodeSwitchingLanguage, MenuAction::selectCurrentTranslationTarget,
        MenuAction::selectNoTranslation, MenuAction::selectRawMode, MenuAction::selectCleanMode,
        MenuAction::selectAutoMicrophone, MenuAction::selectMicrophone, MenuAction::selectSoundsOn,
        MenuAction::selectSoundsOff, MenuAction::selectDictationKey, MenuAction::toggleHoldOrTap}) {
    EXPECT_TRUE(isChoice(action)) << static_cast<int>(action);
  }
  for (const auto action :
       {MenuAction::none, MenuAction::openLanguagePicker, MenuAction::resetCodeSwitchingLanguages,
        MenuAction::openTranslationPicker, MenuAction::openDictationKeyCapture, MenuAction::openHome,
        MenuAction::signOut, MenuAction::signIn, MenuAction::checkForUpdates, MenuAction::quit}) {
    EXPECT_FALSE(isChoice(action)) << static_cast<int>(action);
  }
}

TEST(ToggleCodeSwitchingLanguage, AddsInTableOrder) {
  EXPECT_EQ(toggleCodeSwitchingLanguage({"en", "fr"}, "de"), (std::vector<std::string>{"en", "fr", "de"}));
  EXPECT_EQ(toggleCodeSwitchingLanguage({"fr"}, "af"), (std::vector<std::string>{"af", "fr"}));
}

TEST(ToggleCodeSwitchingLanguage, Removes) {
  EXPECT_EQ(toggleCodeSwitchingLanguage({"en", "fr"}, "en"), (std::vector<std::string>{"fr"}));
}

TEST(ToggleCodeSwitchingLanguage, TheLastLanguageCannotBeRemoved) {
  EXPECT_EQ(toggleCodeSwitchingLanguage({"en"}, "en"), std::nullopt);
}

TEST(ToggleCodeSwitchingLanguage, UnknownCodesGoLastInTheirOrder) {
  EXPECT_EQ(sortedByLanguageTable({"zz", "yo", "aa", "af"}),
            (std::vector<std::string>{"af", "yo", "zz", "aa"}));
}

}  // namespace
}  // namespace pellum
