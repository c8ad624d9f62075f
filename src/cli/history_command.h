#pragma once

#include <QStringList>

namespace pellum {

// `pellum history [--json] [--limit N]`: the recent dictations, newest
// first. `pellum history clear` forgets them; `pellum history retry ID`
// sends a failed dictation's kept recording to the upload route again and
// prints the text. Returns the exit status.
int runHistoryCommand(const QStringList& arguments);

}  // namespace pellum
