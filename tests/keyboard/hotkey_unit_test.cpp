#include "keyboard/hotkey_state.h"

#include <gtest/gtest.h>

#include "keyboard/hotkey_key.h"
#include "keyboard/paste_shortcut.h"

namespace pellum {
namespace {

using Report = HotkeyState::Report;

TEST(HotkeyState, PressThenReleaseReportsOneOfEach) {
  HotkeyState state;
  EXPECT_EQ(state.keyDown(), Report::press);
  EXPECT_TRUE(state.isHeld());
  EXPECT_EQ(state.keyUp(), Report::release);
  EXPECT_FALSE(state.isHeld());
}

TEST(HotkeyState, RepeatedDownWhileHeldReportsNothing) {
  HotkeyState state;
  state.keyDown();
  EXPECT_EQ(state.keyDown(), Report::none);
  EXPECT_EQ(state.keyDown(), Report::none);
  EXPECT_EQ(state.keyUp(), Report::release);
}

TEST(HotkeyState, ReleaseWithoutPressReportsNothing) {
  HotkeyState state;
  EXPECT_EQ(state.keyUp(), Report::none);
  state.keyDown();
  state.keyUp();
  EXPECT_EQ(state.keyUp(), Report::none);
}

TEST(DictationKey, KnownKeysHaveEverydayNames) {
  const auto fn = describeDictationKey(0x100811d0, "XF86Fn");
  EXPECT_EQ(fn.displayName, "Fn");
  EXPECT_EQ(fn.capName, "fn");
  const auto ctrl = describeDictationKey(0xffe4, "Control_R");
  EXPECT_EQ(ctrl.displayName, "Right Ctrl");
  EXPECT_EQ(ctrl.capName, "ctrl");
  EXPECT_EQ(describeDictationKey(0xfe03, "ISO_Level3_Shift").displayName, "AltGr");
}

TEST(DictationKey, OtherKeysShowTheirKeysymName) {
  const auto key = describeDictationKey(0xffc9, "F12");
  EXPECT_EQ(key.displayName, "F12");
  EXPECT_EQ(key.capName, "f12");
  EXPECT_EQ(describeDictationKey(0, "Print_Screen").displayName, "Print Screen");
}

TEST(PasteShortcut, TerminalsByInstanceOrClassIgnoringCase) {
  EXPECT_EQ(pasteKeysFor("gnome-terminal-server", "Gnome-terminal"), PasteKeys::controlShiftV);
  EXPECT_EQ(pasteKeysFor("", "Alacritty"), PasteKeys::controlShiftV);
  EXPECT_EQ(pasteKeysFor("kitty", ""), PasteKeys::controlShiftV);
  EXPECT_EQ(pasteKeysFor("konsole", "konsole"), PasteKeys::controlShiftV);
  EXPECT_EQ(pasteKeysFor("org.wezfurlong.wezterm", "org.wezfurlong.wezterm"), PasteKeys::controlShiftV);
  EXPECT_EQ(pasteKeysFor("foot", "foot"), PasteKeys::controlShiftV);
}

TEST(PasteShortcut, XtermAndRxvtPasteThePrimarySelectionWithShiftInsert) {
  EXPECT_EQ(pasteKeysFor("xterm", "XTerm"), PasteKeys::shiftInsertPrimary);
  EXPECT_EQ(pasteKeysFor("uxterm", "UXTerm"), PasteKeys::shiftInsertPrimary);
  EXPECT_EQ(pasteKeysFor("urxvt", "URxvt"), PasteKeys::shiftInsertPrimary);
}

TEST(PasteShortcut, EverythingElseIsNotATerminal) {
  EXPECT_EQ(pasteKeysFor("firefox", "Firefox"), PasteKeys::controlV);
  EXPECT_EQ(pasteKeysFor("gedit", "Gedit"), PasteKeys::controlV);
  EXPECT_EQ(pasteKeysFor("", ""), PasteKeys::controlV);
  EXPECT_EQ(pasteKeysFor("xterminal-notes", "Notes"), PasteKeys::controlV);
}

}  // namespace
}  // namespace pellum
