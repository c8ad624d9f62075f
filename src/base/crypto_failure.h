#pragma once

#include <string>

namespace pellum {

// Ends the process with one line on stderr naming `what` failed and
// libcrypto's reason: for the failures crypto.h says nothing survives
// (allocation, an unseeded generator).
[[noreturn]] void stopOnCryptoFailure(const std::string& what);

}  // namespace pellum
