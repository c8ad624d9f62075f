#include "app/autostart_entry.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

TEST(AutostartEntry, StartsTheProgramAtItsPath) {
  const std::string text = autostartEntryText("/usr/bin/pellum");
  EXPECT_NE(text.find("[Desktop Entry]\n"), std::string::npos);
  EXPECT_NE(text.find("\nExec=/usr/bin/pellum\n"), std::string::npos);
  EXPECT_NE(text.find("\nType=Application\n"), std::string::npos);
  EXPECT_TRUE(autostartEntryStartsProgram(text));
}

TEST(AutostartEntry, PathsWithReservedCharactersAreQuoted) {
  EXPECT_EQ(execArgument("/home/ana/My Apps/pellum"), "\"/home/ana/My Apps/pellum\"");
  EXPECT_EQ(execArgument("/opt/a$b/pellum"), "\"/opt/a\\\\$b/pellum\"");
  EXPECT_EQ(execArgument("/opt/100%/pellum"), "\"/opt/100%%/pellum\"");
  EXPECT_EQ(execArgument("/opt/back\\slash"), "\"/opt/back\\\\\\\\slash\"");
  EXPECT_EQ(execArgument(""), "\"\"");
}

TEST(AutostartEntry, SwitchedOffTheWaysDesktopsDoIt) {
  const std::string base = autostartEntryText("/usr/bin/pellum");
  EXPECT_FALSE(autostartEntryStartsProgram(base + "Hidden=true\n"));
  EXPECT_FALSE(autostartEntryStartsProgram(base + "X-GNOME-Autostart-enabled=false\n"));
  EXPECT_TRUE(autostartEntryStartsProgram(base + "Hidden=false\n"));
  // Keys of other groups do not count.
  EXPECT_TRUE(autostartEntryStartsProgram(base + "[Desktop Action x]\nHidden=true\n"));
}

TEST(AutostartEntry, WhatIsNoApplicationEntryStartsNothing) {
  EXPECT_FALSE(autostartEntryStartsProgram(""));
  EXPECT_FALSE(autostartEntryStartsProgram("[Desktop Entry]\nType=Link\nURL=https://x\n"));
  EXPECT_FALSE(autostartEntryStartsProgram("[Desktop Entry]\nType=Application\n"));
  EXPECT_FALSE(autostartEntryStartsProgram("Type=Application\nExec=pellum\n"));
  // Written on another system: line ends with carriage returns.
  EXPECT_TRUE(
      autostartEntryStartsProgram("# comment\r\n[Desktop Entry]\r\nType=Application\r\nExec=pellum\r\n"));
}

}  // namespace
}  // namespace pellum
