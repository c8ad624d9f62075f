#include "keyboard/sway_key_binding.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

TEST(SwayKeyBindingTest, BindsPressWithoutRepeatAndRelease) {
  EXPECT_EQ(swayBindKeyCommand("Control_R"),
            "bindsym --no-repeat Control_R nop pellum-press; bindsym --release Control_R nop pellum-release");
  EXPECT_EQ(swayUnbindKeyCommand("F8"), "unbindsym --no-repeat F8; unbindsym --release F8");
  EXPECT_EQ(swayBindCancelCommand(), "bindsym Escape nop pellum-cancel");
  EXPECT_EQ(swayUnbindCancelCommand(), "unbindsym Escape");
}

TEST(SwayKeyBindingTest, OnlyKeysymNamesGoIntoACommand) {
  EXPECT_TRUE(isSafeSwayKeyName("XF86Fn"));
  EXPECT_TRUE(isSafeSwayKeyName("Scroll_Lock"));
  EXPECT_FALSE(isSafeSwayKeyName(""));
  EXPECT_FALSE(isSafeSwayKeyName("F8; exec foot"));
  EXPECT_FALSE(isSafeSwayKeyName("Mod4+F8"));
  EXPECT_FALSE(isSafeSwayKeyName("\"F8\""));
}

TEST(SwayKeyBindingTest, ReadsOurBindingEvents) {
  EXPECT_EQ(
      swayKeySignalFrom(R"({"change":"run","binding":{"command":"nop pellum-press","event_state_mask":[]}})"),
      SwayKeySignal::press);
  EXPECT_EQ(swayKeySignalFrom(R"({"change":"run","binding":{"command":"nop pellum-release"}})"),
            SwayKeySignal::release);
  EXPECT_EQ(swayKeySignalFrom(R"({"change":"run","binding":{"command":"nop pellum-cancel"}})"),
            SwayKeySignal::cancel);
}

TEST(SwayKeyBindingTest, IgnoresOtherBindingsAndOtherPayloads) {
  EXPECT_FALSE(swayKeySignalFrom(R"({"change":"run","binding":{"command":"exec foot"}})"));
  EXPECT_FALSE(swayKeySignalFrom(R"({"change":"run","binding":{"command":"nop pellum-press-not"}})"));
  EXPECT_FALSE(swayKeySignalFrom(R"({"change":"run"})"));
  EXPECT_FALSE(swayKeySignalFrom(R"([1,2])"));
  EXPECT_FALSE(swayKeySignalFrom("not json"));
}

TEST(SwayKeyBindingTest, ReadsCommandReplies) {
  EXPECT_FALSE(swayCommandError(R"([{"success":true},{"success":true}])"));
  EXPECT_EQ(swayCommandError(R"([{"success":true},{"success":false,"error":"Invalid key 'Nope'"}])"),
            "Invalid key 'Nope'");
  EXPECT_TRUE(swayCommandError(R"([{"success":false}])"));
  EXPECT_TRUE(swayCommandError("[]"));
  EXPECT_TRUE(swayCommandError("{}"));
  EXPECT_TRUE(swayCommandError("garbage"));
}

}  // namespace
}  // namespace pellum
