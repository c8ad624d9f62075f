#include "cli/dictate_command.h"

#include <cstdio>

#include "account/single_instance_channel.h"
#include "base/log_line.h"
#include "keyboard/dictation_command.h"

namespace pellum {

namespace {

constexpr char kUsage[] =
    "Usage: pellum dictate press|release|toggle|cancel\n"
    "\n"
    "Tells the running Pellum that the dictation key went down (press) or up\n"
    "(release), to start or end a dictation (toggle), or to drop it (cancel).\n"
    "Bind these to a key in your desktop's shortcuts: press on the key's press\n"
    "and release on its release, or toggle where shortcuts fire on press only.\n";

}  // namespace

int runDictateCommand(const QStringList& arguments) {
  if (arguments.size() == 1 &&
      (arguments[0] == QStringLiteral("--help") || arguments[0] == QStringLiteral("-h"))) {
    std::fputs(kUsage, stdout);
    return 0;
  }
  if (arguments.size() != 1 || !parseDictationCommand(arguments[0].toStdString())) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  // No event loop: the channel's send waits on the socket itself, briefly.
  if (!SingleInstanceChannel().sendToRunningInstance({QStringLiteral("dictate"), arguments[0]})) {
    printLine(stderr, "pellum dictate: Pellum is not running; start it first (run pellum)");
    return 1;
  }
  return 0;
}

}  // namespace pellum
