#pragma once

#include <cstddef>
#include <string>

namespace pellum {

// `count` bytes from the system's cryptographically secure generator
// (random_bytes_linux.cpp: getrandom(2)).
std::string randomBytes(std::size_t count);

}  // namespace pellum
