#pragma once

#include <string>
#include <string_view>

namespace pellum::server {

// True when `url` names a device store this server can open: "" (the
// SQLite file in the data directory) or a PostgreSQL connection URI
// ("postgresql://…" or "postgres://…").
bool isStoreUrl(std::string_view url);

// `url` with any password in it replaced by "***", for messages and logs.
std::string withoutPassword(std::string_view url);

}  // namespace pellum::server
