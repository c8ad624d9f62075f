#pragma once

#include <string>

namespace pellum {

// Where the recent dictations live: "pellum/history.sqlite3" in the user's
// data folder ($XDG_DATA_HOME, else ~/.local/share).
std::string defaultHistoryPath();

}  // namespace pellum
