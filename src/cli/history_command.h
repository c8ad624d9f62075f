#pragma once

#include <QStringList>

namespace pellum {

// `pellum history [--json] [--limit N]`: the recent dictations, newest
// first. `pellum history clear` forgets them. Returns the exit status.
int runHistoryCommand(const QStringList& arguments);

}  // namespace pellum
