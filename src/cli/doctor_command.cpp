#include "cli/doctor_command.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QEventLoop>
#include <QGuiApplication>
#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QStandardPaths>
#include <QTimer>
#include <QUrl>
#include <memory>

#include "account/auth_service.h"
#include "account/single_instance_channel.h"
#include "account/web_base.h"
#include "audio/input_device_catalogue.h"
#include "base/desktop_session.h"
#include "base/log_line.h"
#include "cli/doctor_report.h"
#include "keyboard/hotkey_manager.h"
#include "keyboard/text_inserter.h"
#include "pellum/build_config.h"
#include "settings/preferences.h"
#include "transcription/server_url.h"

namespace pellum {
namespace {

constexpr int kServerDeadlineSeconds = 5;
constexpr int kEngineCheckDeadlineMs = 90000;
constexpr int kToolDeadlineMs = 5000;

std::string sessionDetail(const DesktopSession& session) {
  const std::string display = qEnvironmentVariable("DISPLAY").toStdString();
  if (session.wayland) {
    return "Wayland, " + std::string(compositorName(session.compositor)) +
           (session.x11 ? " (XWayland on " + display + ")" : std::string(" (no XWayland)"));
  }
  return "X11 (DISPLAY=" + display + ")";
}

DoctorLine sessionLine(const DesktopSession& session) {
  if (!session.wayland && !session.x11) {
    return DoctorLine::missing("Desktop session", "none (neither DISPLAY nor WAYLAND_DISPLAY is set)",
                               "run pellum doctor inside your desktop session");
  }
  return DoctorLine::ok("Desktop session", sessionDetail(session));
}

DoctorLine backendsLine() {
  return DoctorLine::note("Backends", "key " + currentBackend(Capability::hotkey) + ", paste " +
                                          currentBackend(Capability::paste) + ", overlay " +
                                          currentBackend(Capability::overlay) + ", keyboard language " +
                                          currentBackend(Capability::layout));
}

std::string keyHint(const std::string& backend) {
  if (backend == "x11")
    return "choose another key in the tray menu's \"Dictation Key\", or set PELLUM_DICTATION_KEY";
  if (backend == "sway") return "check that sway's IPC socket (SWAYSOCK) can be reached";
  if (backend == "portal") return "allow the \"Dictate\" shortcut in System Settings \u2192 Shortcuts";
  return "run Pellum inside your desktop session";
}

DoctorLine keyLine() {
  if (SingleInstanceChannel().isAnotherInstanceRunning())
    return DoctorLine::ok("Dictation key", "Pellum is running and watches the key");
  const std::string backend = currentBackend(Capability::hotkey);
  if (backend == "command") {
    return DoctorLine::note("Dictation key",
                            "bind pellum dictate press and release (or toggle) in the desktop's shortcuts");
  }
  auto hotkey = HotkeyManager::create();
  hotkey->chooseKey(Preferences::dictationKey().value_or(std::string()));
  if (hotkey->start()) {
    if (const auto key = hotkey->key())
      return DoctorLine::ok("Dictation key", key->displayName + " can be held");
    return DoctorLine::ok("Dictation key", "asked the desktop for the shortcut (" + backend + ")");
  }
  const std::string reason = hotkey->unavailableReason();
  return DoctorLine::missing("Dictation key", reason.empty() ? "not available" : reason, keyHint(backend));
}

DoctorLine pasteLine() {
  const auto inserter = TextInserter::create();
  const std::string reason = inserter->unavailableReason();
  if (reason.empty()) {
    return DoctorLine::ok("Paste",
                          "clipboard and the paste keys (" + currentBackend(Capability::paste) + ")");
  }
  // Dictation still works: the words stay on the clipboard and in the menu.
  return DoctorLine::missing("Paste", reason,
                             "use \"Paste Last Transcript\" or paste yourself where it cannot",
                             /*needed=*/false);
}

std::vector<DoctorLine> soundLines() {
  if (!InputDeviceCatalogue::soundSystemReachable()) {
    return {DoctorLine::missing("Sound server", "no PulseAudio or PipeWire sound server answers",
                                "start it: systemctl --user start pipewire-pulse (or pulseaudio --start)")};
  }
  std::vector<DoctorLine> lines{DoctorLine::ok("Sound server", "answers")};
  const auto stored = Preferences::selectedInputDeviceUID();
  const auto chosen = InputDeviceCatalogue::resolveInputDevice(stored);
  if (!chosen) {
    lines.push_back(DoctorLine::missing("Microphone", "none found",
                                        "connect one; pellum devices lists what Pellum sees"));
  } else {
    const bool asStored = stored && *stored == chosen->uid;
    lines.push_back(
        DoctorLine::ok("Microphone", chosen->name + (asStored ? " (your choice)" : " (automatic)")));
  }
  return lines;
}

DoctorLine keyringCheck() {
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) return keyringLine(false, false);
  const QString service = QStringLiteral("org.freedesktop.secrets");
  QDBusConnectionInterface* names = bus.interface();
  const bool present = names && (names->isServiceRegistered(service).value() ||
                                 names->activatableServiceNames().value().contains(service));
  return keyringLine(true, present);
}

TokenOrigin tokenOrigin(std::optional<std::string>& token) {
  if (!qEnvironmentVariableIsEmpty("PELLUM_TOKEN")) {
    token = qEnvironmentVariable("PELLUM_TOKEN").toStdString();
    return TokenOrigin::environment;
  }
  token = AuthService::shared().cachedToken();
  return token ? TokenOrigin::keyring : TokenOrigin::none;
}

bool isLoopback(const QUrl& url) {
  const QString host = url.host();
  return host == QLatin1String("localhost") || QHostAddress(host).isLoopback();
}

// Asks the live route for a session without upgrading: a server that knows
// the token answers 426, one that does not 401. Nothing is transcribed.
ServerProbe probeServer(const std::optional<std::string>& token) {
  ServerProbe probe;
  probe.address = resolveServerURL();
  probe.deadlineSeconds = kServerDeadlineSeconds;
  const QUrl base(QString::fromStdString(probe.address));
  probe.local = isLoopback(base);
  QNetworkAccessManager network;
  QNetworkRequest request(QUrl(QString::fromStdString(probe.address) + QStringLiteral("/transcribe/stream")));
  request.setTransferTimeout(kServerDeadlineSeconds * 1000);
  if (token) request.setRawHeader("Authorization", "Bearer " + QByteArray::fromStdString(*token));
  std::unique_ptr<QNetworkReply> reply(network.get(request));
  QEventLoop loop;
  QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
  loop.exec();
  const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
  if (status == 426) {
    probe.outcome = ServerProbe::Outcome::accepted;
  } else if (status == 401) {
    probe.outcome = token ? ServerProbe::Outcome::refusedToken : ServerProbe::Outcome::noToken;
  } else if (status != 0) {
    probe.outcome = ServerProbe::Outcome::unexpected;
    probe.detail = "it answered HTTP " + std::to_string(status);
  } else if (reply->error() == QNetworkReply::OperationCanceledError) {
    probe.outcome = ServerProbe::Outcome::timedOut;
  } else {
    probe.outcome = ServerProbe::Outcome::unreachable;
    probe.detail = reply->errorString().toStdString();
  }
  return probe;
}

QString serverProgram() {
  const QString here = QCoreApplication::applicationDirPath();
  const QString beside = QStandardPaths::findExecutable(QStringLiteral("pellum-server"),
                                                        {here, here + QStringLiteral("/../server")});
  return beside.isEmpty() ? QStandardPaths::findExecutable(QStringLiteral("pellum-server")) : beside;
}

// The server's own check of its engines, where it runs on this machine.
EngineProbe probeEngines(const ServerProbe& server) {
  if (!server.local) return {EngineProbe::Outcome::remote, {}};
  const QString program = serverProgram();
  if (program.isEmpty()) return {EngineProbe::Outcome::notRun, "the engines are not checked"};
  QProcess check;
  check.setProcessChannelMode(QProcess::MergedChannels);
  check.start(program, {QStringLiteral("engines")});
  if (!check.waitForFinished(kEngineCheckDeadlineMs)) {
    check.kill();
    check.waitForFinished(1000);
    return {EngineProbe::Outcome::failed, "pellum-server engines did not finish within 90 s"};
  }
  const QStringList lines = QString::fromUtf8(check.readAll()).split('\n', Qt::SkipEmptyParts);
  if (check.exitStatus() != QProcess::NormalExit || check.exitCode() != 0)
    return {EngineProbe::Outcome::failed, lines.isEmpty() ? "the check failed" : lines.last().toStdString()};
  for (const QString& line : lines) {
    if (line.startsWith(QStringLiteral("live: "))) return {EngineProbe::Outcome::ok, line.toStdString()};
  }
  return {EngineProbe::Outcome::ok, "checked"};
}

std::string runTool(const QString& program, const QStringList& arguments) {
  QProcess tool;
  tool.start(program, arguments);
  if (!tool.waitForFinished(kToolDeadlineMs)) {
    tool.kill();
    tool.waitForFinished(1000);
    return {};
  }
  return QString::fromUtf8(tool.readAllStandardOutput()).trimmed().toStdString();
}

std::vector<DoctorLine> desktopEntryLines() {
  const QString entry =
      QStandardPaths::locate(QStandardPaths::ApplicationsLocation, QStringLiteral("pellum.desktop"));
  const std::string scheme = resolveUrlScheme(build_config::urlScheme);
  const std::string handler = runTool(QStringLiteral("xdg-mime"),
                                      {QStringLiteral("query"), QStringLiteral("default"),
                                       QStringLiteral("x-scheme-handler/") + QString::fromStdString(scheme)});
  return {desktopEntryLine(entry.isEmpty() ? std::nullopt : std::optional(entry.toStdString())),
          urlSchemeLine(scheme, handler)};
}

std::unique_ptr<QCoreApplication> makeApplication(int& argc, char* argv[], const DesktopSession& session) {
  if (!session.x11 && !session.wayland) return std::make_unique<QCoreApplication>(argc, argv);
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
    const std::string platform = qtPlatformFor(session);
    if (!platform.empty()) qputenv("QT_QPA_PLATFORM", QByteArray::fromStdString(platform));
  }
  return std::make_unique<QGuiApplication>(argc, argv);
}

}  // namespace

int runDoctorCommand(int argc, char* argv[]) {
  if (argc > 2) {
    printLine(stderr, "pellum doctor: takes no arguments");
    return 2;
  }
  const DesktopSession session = currentDesktopSession();
  const auto application = makeApplication(argc, argv, session);
  QCoreApplication::setApplicationName(QStringLiteral("pellum"));
  // The backends say what they set up on stdout; the report is the output.
  setLogQuiet(true);
  std::vector<DoctorLine> lines{sessionLine(session)};
  if (session.x11 || session.wayland) {
    lines.push_back(backendsLine());
    lines.push_back(keyLine());
    lines.push_back(pasteLine());
  }
  for (auto& line : soundLines()) lines.push_back(std::move(line));
  lines.push_back(keyringCheck());
  std::optional<std::string> token;
  lines.push_back(signInLine(tokenOrigin(token)));
  const ServerProbe server = probeServer(token);
  lines.push_back(serverLine(server));
  lines.push_back(enginesLine(probeEngines(server)));
  for (auto& line : desktopEntryLines()) lines.push_back(std::move(line));
  setLogQuiet(false);
  for (const auto& line : lines) printLine(stdout, formatDoctorLine(line));
  return doctorExitStatus(lines);
}

}  // namespace pellum
