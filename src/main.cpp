// The pellum program: the desktop dictation utility, and the subcommands
// that share its code for scripts and diagnostics.

#include <QApplication>
#include <QCoreApplication>
#include <cstdio>
#include <string>
#include <string_view>

#include "account/single_instance_channel.h"
#include "app/app_delegate.h"
#include "app/launch_checks.h"
#include "base/desktop_session.h"
#include "base/log_line.h"
#include "cli/account_commands.h"
#include "cli/audio_commands.h"
#include "cli/dictate_command.h"
#include "cli/doctor_command.h"
#include "cli/history_command.h"
#include "cli/transcribe_command.h"
#include "pellum/build_config.h"

namespace {

constexpr char kUsage[] =
    "Usage: pellum [COMMAND] [OPTIONS]\n"
    "\n"
    "Without a command, starts the desktop program (tray icon and dictation key).\n"
    "\n"
    "Push-to-talk dictation: hold the dictation key anywhere, speak, release,\n"
    "and the text is pasted into the application that has the focus.\n"
    "\n"
    "Commands:\n"
    "  transcribe FILE.wav   transcribe a 16 kHz mono 16-bit WAV file and print the text\n"
    "                        (--batch, --realtime, --mode raw|clean, --language CODES,\n"
    "                        --translate-to CODE; see pellum transcribe --help)\n"
    "  devices               list the microphones, the automatic choice and the stored one\n"
    "  record SECONDS OUT.wav  record the chosen microphone as a dictation does\n"
    "  sign-in               pair with your account in the browser (--no-browser prints\n"
    "                        the address instead; --with-token reads a token from stdin)\n"
    "  sign-out              forget the device token\n"
    "  status                whether you are signed in, and the server addresses\n"
    "  dictate press|release|toggle|cancel\n"
    "                        tell the running Pellum the dictation key went down or\n"
    "                        up, start or end a dictation, or drop it: for a key\n"
    "                        bound in the desktop's own shortcuts (see README)\n"
    "  doctor                check every piece dictation needs, one line each, with a\n"
    "                        hint for what is missing (exit status 1 when something is)\n"
    "  history               the recent dictations, newest first (--json, --limit N);\n"
    "                        history clear forgets them; history retry ID uploads a\n"
    "                        failed dictation's recording again and prints the text\n"
    "\n"
    "Options:\n"
    "  -h, --help            show this help\n"
    "  --version             show the version\n"
    "\n"
    "Environment:\n"
    "  PELLUM_TRANSCRIBE_URL transcription server (default http://127.0.0.1:3001)\n"
    "  PELLUM_WEB_URL        account web service (default http://127.0.0.1:3000)\n"
    "  PELLUM_TOKEN          device token to use instead of the signed-in one\n";

}  // namespace

namespace {

// The desktop program: no window, a tray icon and the dictation key.
int runDesktop(int argc, char* argv[]) {
  if (const auto reason = pellum::missingDesktopReason()) {
    std::fputs(("pellum: " + *reason + "; see pellum --help for the command-line tools\n").c_str(), stderr);
    return 1;
  }
  // Qt's own windows go where they can place themselves (see qtPlatformFor);
  // a platform the user chose stays.
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
    const std::string platform = pellum::qtPlatformFor(pellum::currentDesktopSession());
    if (!platform.empty()) qputenv("QT_QPA_PLATFORM", QByteArray::fromStdString(platform));
  }
  QApplication app(argc, argv);
  QApplication::setApplicationName(QStringLiteral("pellum"));
  QApplication::setApplicationDisplayName(QStringLiteral("Pellum"));
  QApplication::setDesktopFileName(QStringLiteral("pellum"));
  // One Pellum per session: a running one is left in charge.
  if (pellum::SingleInstanceChannel().sendToRunningInstance({})) return 0;
  pellum::AppDelegate delegate;
  if (!delegate.applicationDidFinishLaunching()) return 1;
  return QApplication::exec();
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc < 2) return runDesktop(argc, argv);
  // Makes the application object its checks need.
  if (std::string_view(argv[1]) == "doctor") return pellum::runDoctorCommand(argc, argv);
  QCoreApplication app(argc, argv);
  QCoreApplication::setApplicationName(QStringLiteral("pellum"));
  QCoreApplication::setApplicationVersion(QString::fromUtf8(
      pellum::build_config::version.data(), static_cast<qsizetype>(pellum::build_config::version.size())));
  const QStringList arguments = QCoreApplication::arguments();
  const QString command = arguments.value(1);

  if (command == QStringLiteral("--help") || command == QStringLiteral("-h") ||
      command == QStringLiteral("help")) {
    std::fputs(kUsage, stdout);
    return 0;
  }
  if (command == QStringLiteral("--version")) {
    std::printf("pellum %s\n", std::string(pellum::build_config::version).c_str());
    return 0;
  }
  if (command == QStringLiteral("transcribe")) {
    QStringList rest = arguments.mid(2);
    rest.prepend(QStringLiteral("pellum transcribe"));
    return pellum::TranscribeCommand(rest).run();
  }
  if (command == QStringLiteral("devices")) return pellum::runDevicesCommand(arguments.mid(2));
  if (command == QStringLiteral("record")) return pellum::runRecordCommand(arguments.mid(2));
  if (command == QStringLiteral("history")) return pellum::runHistoryCommand(arguments.mid(2));
  if (command == QStringLiteral("sign-in")) return pellum::runSignInCommand(arguments.mid(2));
  if (command == QStringLiteral("sign-out")) return pellum::runSignOutCommand(arguments.mid(2));
  if (command == QStringLiteral("dictate")) return pellum::runDictateCommand(arguments.mid(2));
  if (command == QStringLiteral("status")) return pellum::runStatusCommand(arguments.mid(2));
  if (pellum::isCallbackArgument(command)) return pellum::runCallbackCommand(arguments.mid(1));
  pellum::printLine(stderr, "pellum: unknown command \"" + command.toStdString() + "\" (see pellum --help)");
  return 2;
}
