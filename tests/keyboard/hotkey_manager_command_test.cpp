// `pellum dictate ...` as it reaches the dictation key: the command backend,
// and the same pairing on any backend.
#include "keyboard/hotkey_manager_command.h"

#include <gtest/gtest.h>

#include "support/event_loop.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using Events = std::vector<std::string>;

class HotkeyManagerCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    manager_ = makeCommandHotkeyManager();
    manager_->setCallbacks([this] { events_.push_back("press"); }, [this] { events_.push_back("release"); });
    manager_->setCancelCallback([this] { events_.push_back("cancel"); });
  }

  // Callbacks are queued: run them.
  Events run(std::initializer_list<DictationCommand> commands) {
    for (auto command : commands) manager_->handleCommand(command);
    test::spin(20ms);
    return events_;
  }

  std::unique_ptr<HotkeyManager> manager_;
  Events events_;
};

TEST_F(HotkeyManagerCommandTest, StartsWithNothingToWatchAndTellsWhatToBind) {
  EXPECT_TRUE(manager_->start());
  EXPECT_EQ(manager_->unavailableReason(), "");
  ASSERT_TRUE(manager_->key());
  EXPECT_NE(manager_->key()->displayName.find("pellum dictate"), std::string::npos);
  EXPECT_FALSE(manager_->chooseKey("F8"));
}

TEST_F(HotkeyManagerCommandTest, PressAndReleaseArePaired) {
  using enum DictationCommand;
  EXPECT_EQ(run({press, press, release, release}), (Events{"press", "release"}));
}

TEST_F(HotkeyManagerCommandTest, ToggleAlternates) {
  using enum DictationCommand;
  EXPECT_EQ(run({toggle, toggle, toggle}), (Events{"press", "release", "press"}));
  EXPECT_TRUE(manager_->isHeld());
}

TEST_F(HotkeyManagerCommandTest, CancelDropsTheHoldSoTheNextToggleStartsAgain) {
  using enum DictationCommand;
  EXPECT_EQ(run({toggle, cancel, toggle}), (Events{"press", "cancel", "press"}));
}

TEST_F(HotkeyManagerCommandTest, AReleaseWithoutAPressIsNothing) {
  using enum DictationCommand;
  EXPECT_EQ(run({release, cancel}), (Events{"cancel"}));
  EXPECT_FALSE(manager_->isHeld());
}

}  // namespace
}  // namespace pellum
