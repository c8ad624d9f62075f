#include "support/gnome_keyring.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QProcess>
#include <string>
#include <vector>

extern char** environ;

namespace pellum::test {
namespace {

// The keyring daemon reads the login password as one line on stdin; an
// empty line creates and unlocks a login keyring with an empty password.
constexpr char kSession[] =
    "echo | gnome-keyring-daemon --unlock --components=secrets >/dev/null || exit 1\n"
    "echo \"$DBUS_SESSION_BUS_ADDRESS\"\n"
    "exec cat >/dev/null\n";

QStringList attributeArguments(const QMap<QString, QString>& attributes) {
  QStringList arguments;
  for (auto it = attributes.begin(); it != attributes.end(); ++it) arguments << it.key() << it.value();
  return arguments;
}

}  // namespace

GnomeKeyring::GnomeKeyring() {
  if (!dir_.isValid()) return;
  const QString data = dir_.filePath(QStringLiteral("data")), runtime = dir_.filePath(QStringLiteral("run"));
  QDir().mkpath(data);
  QDir().mkpath(runtime);
  ::chmod(runtime.toLocal8Bit().constData(), 0700);

  int toSession[2], fromSession[2];
  if (::pipe2(toSession, O_CLOEXEC) != 0 || ::pipe2(fromSession, O_CLOEXEC) != 0) return;

  std::vector<std::string> environment;
  for (char** entry = environ; *entry; ++entry) {
    const std::string text(*entry);
    if (text.starts_with("DBUS_SESSION_BUS_ADDRESS=") || text.starts_with("XDG_DATA_HOME=") ||
        text.starts_with("XDG_RUNTIME_DIR=") || text.starts_with("GNOME_KEYRING_CONTROL="))
      continue;
    environment.push_back(text);
  }
  environment.push_back("XDG_DATA_HOME=" + data.toStdString());
  environment.push_back("XDG_RUNTIME_DIR=" + runtime.toStdString());
  std::vector<char*> envp;
  for (auto& entry : environment) envp.push_back(entry.data());
  envp.push_back(nullptr);

  std::vector<std::string> words{"dbus-run-session", "--", "sh", "-c", kSession};
  std::vector<char*> argv;
  for (auto& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, toSession[0], 0);
  posix_spawn_file_actions_adddup2(&actions, fromSession[1], 1);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  pid_t pid = -1;
  const int spawned = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  ::close(toSession[0]);
  ::close(fromSession[1]);
  // toSession[1] stays open, unread, for the rest of the program: its
  // closing at exit is what ends the session.
  if (spawned != 0) return;

  std::string line;
  pollfd ready{fromSession[0], POLLIN, 0};
  while (line.find('\n') == std::string::npos && ::poll(&ready, 1, 20000) > 0) {
    char buffer[512];
    const ssize_t got = ::read(fromSession[0], buffer, sizeof buffer);
    if (got <= 0) break;
    line.append(buffer, static_cast<std::size_t>(got));
  }
  ::close(fromSession[0]);
  if (line.find('\n') == std::string::npos || !line.starts_with("unix:")) return;
  line.resize(line.find('\n'));
  address_ = QString::fromStdString(line);
  qputenv("DBUS_SESSION_BUS_ADDRESS", address_.toUtf8());
}

QList<GnomeKeyring::Item> GnomeKeyring::search(const QMap<QString, QString>& attributes) const {
  QProcess tool;
  tool.start(QStringLiteral("secret-tool"),
             QStringList{QStringLiteral("search"), QStringLiteral("--all")} + attributeArguments(attributes));
  if (!tool.waitForFinished(20000)) return {};
  // One block per item: "[/path]", then "label = ", "secret = ",
  // "attribute.NAME = VALUE" lines; most of it on stdout, some on stderr.
  const QString text = QString::fromUtf8(tool.readAllStandardOutput() + tool.readAllStandardError());
  QList<Item> items;
  for (const QString& line : text.split(QLatin1Char('\n'))) {
    if (line.startsWith(QLatin1Char('['))) {
      items.append(Item{});
      continue;
    }
    if (items.isEmpty()) continue;
    const qsizetype equals = line.indexOf(QStringLiteral(" = "));
    if (equals < 0) continue;
    const QString name = line.left(equals), value = line.mid(equals + 3);
    if (name == QStringLiteral("secret")) items.last().secret = value;
    if (name.startsWith(QStringLiteral("attribute."))) items.last().attributes.insert(name.mid(10), value);
  }
  return items;
}

bool GnomeKeyring::clear(const QMap<QString, QString>& attributes) const {
  return QProcess::execute(QStringLiteral("secret-tool"),
                           QStringList{QStringLiteral("clear")} + attributeArguments(attributes)) == 0;
}

}  // namespace pellum::test
