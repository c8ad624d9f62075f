#include "keyboard/global_shortcuts_portal.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

TEST(GlobalShortcutsPortalTest, TokensAreNumberedNames) {
  EXPECT_EQ(portalHandleToken(0), "pellum_0");
  EXPECT_EQ(portalHandleToken(17), "pellum_17");
}

TEST(GlobalShortcutsPortalTest, TheRequestPathIsTheSenderWithoutColonAndDots) {
  EXPECT_EQ(portalRequestPath(":1.42", "pellum_3"), "/org/freedesktop/portal/desktop/request/1_42/pellum_3");
  EXPECT_EQ(portalRequestPath(":1.1234", "t"), "/org/freedesktop/portal/desktop/request/1_1234/t");
}

}  // namespace
}  // namespace pellum
