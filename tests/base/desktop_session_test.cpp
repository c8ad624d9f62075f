#include "base/desktop_session.h"

#include <gtest/gtest.h>

#include <map>

namespace pellum {
namespace {

DesktopSession sessionWith(std::map<std::string, std::string> variables) {
  return desktopSessionFrom([&variables](const char* name) {
    const auto found = variables.find(name);
    return found == variables.end() ? std::string() : found->second;
  });
}

TEST(DesktopSessionTest, AnX11SessionUsesX11ForEverything) {
  const auto session = sessionWith({{"DISPLAY", ":0"}});
  EXPECT_FALSE(session.wayland);
  EXPECT_EQ(session.compositor, Compositor::none);
  EXPECT_EQ(chooseBackend(Capability::hotkey, session), "x11");
  EXPECT_EQ(chooseBackend(Capability::paste, session), "x11");
  EXPECT_EQ(chooseBackend(Capability::overlay, session), "x11");
  EXPECT_EQ(chooseBackend(Capability::layout, session), "xkb");
  EXPECT_EQ(qtPlatformFor(session), "xcb");
}

TEST(DesktopSessionTest, SwayBindsTheKeyOverItsIpcAndReadsTheLayoutThere) {
  const auto session = sessionWith(
      {{"WAYLAND_DISPLAY", "wayland-1"}, {"DISPLAY", ":1"}, {"SWAYSOCK", "/run/user/1000/sway.sock"}});
  EXPECT_EQ(session.compositor, Compositor::sway);
  EXPECT_EQ(chooseBackend(Capability::hotkey, session), "sway");
  EXPECT_EQ(chooseBackend(Capability::paste, session), "wayland");
  EXPECT_EQ(chooseBackend(Capability::overlay, session), "layer-shell");
  EXPECT_EQ(chooseBackend(Capability::layout, session), "sway");
  // Qt's own windows (menu, popovers) go to XWayland where it runs.
  EXPECT_EQ(qtPlatformFor(session), "xcb");
}

TEST(DesktopSessionTest, KdeUsesTheGlobalShortcutsPortal) {
  const auto session = sessionWith({{"WAYLAND_DISPLAY", "wayland-0"}, {"XDG_CURRENT_DESKTOP", "KDE"}});
  EXPECT_EQ(session.compositor, Compositor::kde);
  EXPECT_EQ(chooseBackend(Capability::hotkey, session), "portal");
  EXPECT_EQ(chooseBackend(Capability::layout, session), "wayland");
  EXPECT_EQ(qtPlatformFor(session), "wayland");
}

TEST(DesktopSessionTest, GnomeAndHyprlandTakeTheKeyFromDictateCommands) {
  const auto gnome = sessionWith({{"WAYLAND_DISPLAY", "wayland-0"}, {"XDG_CURRENT_DESKTOP", "ubuntu:GNOME"}});
  EXPECT_EQ(gnome.compositor, Compositor::gnome);
  EXPECT_EQ(chooseBackend(Capability::hotkey, gnome), "command");
  const auto hyprland =
      sessionWith({{"WAYLAND_DISPLAY", "wayland-1"}, {"HYPRLAND_INSTANCE_SIGNATURE", "abc"}});
  EXPECT_EQ(hyprland.compositor, Compositor::hyprland);
  EXPECT_EQ(chooseBackend(Capability::hotkey, hyprland), "command");
  const auto river = sessionWith({{"WAYLAND_DISPLAY", "wayland-1"}, {"XDG_CURRENT_DESKTOP", "river"}});
  EXPECT_EQ(river.compositor, Compositor::other);
  EXPECT_EQ(chooseBackend(Capability::hotkey, river), "command");
}

TEST(DesktopSessionTest, AnOverrideWinsAsGiven) {
  const auto session = sessionWith({{"WAYLAND_DISPLAY", "wayland-1"}, {"SWAYSOCK", "/tmp/s"}});
  EXPECT_EQ(chooseBackend(Capability::hotkey, session, "command"), "command");
  EXPECT_EQ(chooseBackend(Capability::paste, session, "none"), "none");
  EXPECT_STREQ(overrideVariable(Capability::overlay), "PELLUM_OVERLAY_BACKEND");
}

TEST(DesktopSessionTest, NoSessionHasNoBackends) {
  const auto session = sessionWith({});
  EXPECT_EQ(chooseBackend(Capability::hotkey, session), "none");
  EXPECT_EQ(chooseBackend(Capability::paste, session), "none");
  EXPECT_EQ(qtPlatformFor(session), "");
}

}  // namespace
}  // namespace pellum
