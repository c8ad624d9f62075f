#include "keyboard/dictation_command.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

TEST(DictationCommandTest, ParsesTheFourWords) {
  for (auto command : {DictationCommand::press, DictationCommand::release, DictationCommand::toggle,
                       DictationCommand::cancel}) {
    EXPECT_EQ(parseDictationCommand(dictationCommandName(command)), command);
  }
  EXPECT_EQ(dictationCommandName(DictationCommand::toggle), "toggle");
}

TEST(DictationCommandTest, RefusesOtherWords) {
  EXPECT_FALSE(parseDictationCommand(""));
  EXPECT_FALSE(parseDictationCommand("Press"));
  EXPECT_FALSE(parseDictationCommand("start"));
  EXPECT_FALSE(parseDictationCommand("press "));
}

TEST(DictationCommandTest, FindsTheCommandInAnotherStartsArguments) {
  EXPECT_EQ(dictationCommandFrom({"dictate", "press"}), DictationCommand::press);
  EXPECT_EQ(dictationCommandFrom({"dictate", "cancel"}), DictationCommand::cancel);
  EXPECT_FALSE(dictationCommandFrom({"dictate"}));
  EXPECT_FALSE(dictationCommandFrom({"dictate", "press", "extra"}));
  EXPECT_FALSE(dictationCommandFrom({"dictate", "nope"}));
  EXPECT_FALSE(dictationCommandFrom({"pellum://paired?code=1"}));
  EXPECT_FALSE(dictationCommandFrom({}));
}

}  // namespace
}  // namespace pellum
