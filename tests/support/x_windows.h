#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct xcb_connection_t;

namespace pellum::test {

// The top-level windows on the screen that are mapped and viewable and
// whose WM_CLASS instance or class name is `name`: what a user can see of
// a program.
std::vector<std::uint32_t> viewableWindowsOf(xcb_connection_t* connection, const std::string& name);

}  // namespace pellum::test
