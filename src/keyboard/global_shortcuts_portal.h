#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace pellum {

// Names for talking to the desktop's GlobalShortcuts portal. Pure logic.
//
// Each portal call answers through a Request object whose path the caller
// can know beforehand (so it can listen before calling):
// /org/freedesktop/portal/desktop/request/SENDER/TOKEN, SENDER being the
// caller's unique bus name without the ':' and with '.' as '_'.

// The id of the one shortcut the program asks for.
inline constexpr std::string_view kDictateShortcutId = "dictate";

// A token for the `n`-th call: "pellum_<n>" (letters, digits and '_').
std::string portalHandleToken(std::uint32_t n);

// The Request path for a call from `uniqueName` (":1.42") with `token`.
std::string portalRequestPath(std::string_view uniqueName, std::string_view token);

}  // namespace pellum
