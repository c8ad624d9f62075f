#include "support/sway_session.h"

#include <unistd.h>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QThread>

namespace pellum::test {
namespace {

// The unprivileged user sway runs as ("nobody" on Debian).
constexpr uid_t kSwayUser = 65534;
constexpr const char* kExported[] = {"WAYLAND_DISPLAY", "SWAYSOCK", "XDG_RUNTIME_DIR", "DISPLAY"};

// Depth-first search of get_tree's nodes for the focused one.
QJsonObject focusedNode(const QJsonObject& node) {
  if (node.value(QStringLiteral("focused")).toBool()) return node;
  for (const auto& key : {QStringLiteral("nodes"), QStringLiteral("floating_nodes")}) {
    for (const auto& child : node.value(key).toArray()) {
      const QJsonObject found = focusedNode(child.toObject());
      if (!found.isEmpty()) return found;
    }
  }
  return {};
}

}  // namespace

SwaySession::SwaySession(const QStringList& extraConfig) {
  for (int i = 0; i < 4; ++i) previousEnvironment_[i] = qgetenv(kExported[i]);
  const QString dir = runtimeDir_.path();
  QFile config(dir + QStringLiteral("/config"));
  if (!config.open(QIODevice::WriteOnly)) {
    failure_ = QStringLiteral("cannot write the sway configuration");
    return;
  }
  config.write("xwayland enable\noutput HEADLESS-1 resolution 1280x720\ndefault_border none\n");
  for (const QString& line : extraConfig) config.write(line.toUtf8() + '\n');
  config.close();
  if (::chown(QFile::encodeName(dir).constData(), kSwayUser, kSwayUser) != 0 ||
      ::chown(QFile::encodeName(config.fileName()).constData(), kSwayUser, kSwayUser) != 0) {
    failure_ = QStringLiteral("cannot hand the runtime directory to the sway user");
    return;
  }

  QProcessEnvironment environment;
  environment.insert(QStringLiteral("PATH"), QStringLiteral("/usr/bin:/bin"));
  environment.insert(QStringLiteral("HOME"), dir);
  environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), dir);
  environment.insert(QStringLiteral("WLR_BACKENDS"), QStringLiteral("headless"));
  environment.insert(QStringLiteral("WLR_LIBINPUT_NO_DEVICES"), QStringLiteral("1"));
  environment.insert(QStringLiteral("WLR_RENDERER"), QStringLiteral("pixman"));
  sway_.setProcessEnvironment(environment);
  sway_.setProcessChannelMode(QProcess::MergedChannels);
  // setpriv replaces itself with sway, so the process we hold is sway.
  sway_.start(
      QStringLiteral("setpriv"),
      {QStringLiteral("--reuid=%1").arg(kSwayUser), QStringLiteral("--regid=%1").arg(kSwayUser),
       QStringLiteral("--clear-groups"), QStringLiteral("sway"), QStringLiteral("-c"), config.fileName()});
  if (!sway_.waitForStarted(5000)) {
    failure_ = QStringLiteral("sway did not start: ") + sway_.errorString();
    return;
  }
  QDeadlineTimer deadline(10000);
  QString socket;
  while (!deadline.hasExpired() && sway_.state() == QProcess::Running) {
    const QStringList sockets = QDir(dir).entryList({QStringLiteral("sway-ipc.*.sock")}, QDir::System);
    if (!sockets.isEmpty() && QFile::exists(dir + QStringLiteral("/wayland-1"))) {
      socket = dir + QLatin1Char('/') + sockets.first();
      break;
    }
    QThread::msleep(20);
  }
  if (socket.isEmpty()) {
    failure_ = QStringLiteral("sway did not come up; its log:\n") + log();
    return;
  }
  waylandDisplay_ = dir + QStringLiteral("/wayland-1");
  swaySocket_ = socket;
  qputenv("XDG_RUNTIME_DIR", QFile::encodeName(dir));
  qputenv("WAYLAND_DISPLAY", QFile::encodeName(waylandDisplay_));
  qputenv("SWAYSOCK", QFile::encodeName(swaySocket_));
  qunsetenv("DISPLAY");
  // swaymsg answers once sway reads its IPC socket.
  while (!deadline.hasExpired() && swaymsg({QStringLiteral("-t"), QStringLiteral("get_version")}).isEmpty()) {
    QThread::msleep(20);
  }
}

SwaySession::~SwaySession() {
  if (sway_.state() != QProcess::NotRunning) {
    sway_.terminate();
    if (!sway_.waitForFinished(3000)) sway_.kill();
    sway_.waitForFinished(1000);
  }
  for (int i = 0; i < 4; ++i) {
    if (previousEnvironment_[i].isEmpty()) {
      qunsetenv(kExported[i]);
    } else {
      qputenv(kExported[i], previousEnvironment_[i]);
    }
  }
}

QString SwaySession::xDisplay() {
  if (!xDisplay_.isEmpty() || !isRunning()) return xDisplay_;
  // sway picks XWayland's display number itself; only it can tell. XWayland
  // admits only sway's own user: let the test's clients (root) in too.
  const QString file = runtimeDir() + QStringLiteral("/display");
  swaymsg({QStringLiteral("exec"),
           // (no ";": sway would take it for the end of the command)
           QStringLiteral("xhost +si:localuser:root >/dev/null 2>&1 && echo $DISPLAY > %1").arg(file)});
  QDeadlineTimer deadline(5000);
  while (!deadline.hasExpired()) {
    QFile f(file);
    if (f.open(QIODevice::ReadOnly)) {
      const QString name = QString::fromLatin1(f.readAll()).trimmed();
      if (!name.isEmpty()) {
        xDisplay_ = name;
        qputenv("DISPLAY", name.toLatin1());
        break;
      }
    }
    QThread::msleep(20);
  }
  return xDisplay_;
}

QProcessEnvironment SwaySession::clientEnvironment(bool x11) {
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtimeDir());
  environment.insert(QStringLiteral("SWAYSOCK"), swaySocket_);
  if (x11) {
    environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
    environment.insert(QStringLiteral("DISPLAY"), xDisplay());
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    environment.insert(QStringLiteral("GDK_BACKEND"), QStringLiteral("x11"));
  } else {
    environment.insert(QStringLiteral("WAYLAND_DISPLAY"), waylandDisplay_);
    environment.remove(QStringLiteral("DISPLAY"));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("wayland"));
    environment.insert(QStringLiteral("GDK_BACKEND"), QStringLiteral("wayland"));
  }
  return environment;
}

QByteArray SwaySession::swaymsg(const QStringList& arguments, int timeoutMs) const {
  QProcess process;
  process.start(QStringLiteral("swaymsg"), QStringList{QStringLiteral("-s"), swaySocket_} + arguments);
  if (!process.waitForFinished(timeoutMs) || process.exitCode() != 0) {
    process.kill();
    process.waitForFinished(1000);
    return {};
  }
  return process.readAllStandardOutput();
}

QJsonDocument SwaySession::tree() const {
  return QJsonDocument::fromJson(swaymsg({QStringLiteral("-t"), QStringLiteral("get_tree")}));
}

QString SwaySession::focusedApp() const {
  const QJsonObject node = focusedNode(tree().object());
  const QString appId = node.value(QStringLiteral("app_id")).toString();
  if (!appId.isEmpty()) return appId;
  return node.value(QStringLiteral("window_properties")).toObject().value(QStringLiteral("class")).toString();
}

bool SwaySession::waitForFocus(const QString& app, int timeoutMs) const {
  QDeadlineTimer deadline(timeoutMs);
  while (!deadline.hasExpired()) {
    if (focusedApp().compare(app, Qt::CaseInsensitive) == 0) return true;
    QThread::msleep(30);
  }
  return false;
}

QByteArray SwaySession::screenshot() const {
  QProcess grim;
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("WAYLAND_DISPLAY"), waylandDisplay_);
  environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtimeDir());
  grim.setProcessEnvironment(environment);
  grim.start(QStringLiteral("grim"), {QStringLiteral("-")});
  if (!grim.waitForFinished(10000) || grim.exitCode() != 0) return {};
  return grim.readAllStandardOutput();
}

QString SwaySession::log() const {
  log_ += sway_.readAll();
  return QString::fromUtf8(log_);
}

}  // namespace pellum::test
