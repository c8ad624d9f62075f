#include "cli/doctor_report.h"

namespace pellum {

std::string formatDoctorLine(const DoctorLine& line) {
  const char* mark = line.status == DoctorLine::Status::ok        ? "\u2713"
                     : line.status == DoctorLine::Status::missing ? "\u2717"
                                                                  : "\u2013";
  std::string text = std::string(mark) + " " + line.topic + ": " + line.detail;
  if (line.status == DoctorLine::Status::missing && !line.hint.empty()) text += "\n    \u2192 " + line.hint;
  return text;
}

int doctorExitStatus(const std::vector<DoctorLine>& lines) {
  for (const auto& line : lines) {
    if (line.status == DoctorLine::Status::missing && line.needed) return 1;
  }
  return 0;
}

DoctorLine serverLine(const ServerProbe& probe) {
  const std::string topic = "Server";
  const std::string start = probe.local
                                ? "start it: systemctl --user start pellum-server (installed) or make run "
                                  "(from the source tree)"
                                : "check the address (PELLUM_TRANSCRIBE_URL) and the network";
  switch (probe.outcome) {
    case ServerProbe::Outcome::accepted:
      return DoctorLine::ok(topic, probe.address + " answers and accepts this device");
    case ServerProbe::Outcome::noToken:
      return DoctorLine::ok(topic, probe.address + " answers (sign in to use it)");
    case ServerProbe::Outcome::refusedToken:
      return DoctorLine::missing(topic, probe.address + " refuses this device's token",
                                 "sign in again: pellum sign-in (the device may have been revoked)");
    case ServerProbe::Outcome::unreachable:
      return DoctorLine::missing(topic, probe.address + " cannot be reached (" + probe.detail + ")", start);
    case ServerProbe::Outcome::timedOut:
      return DoctorLine::missing(
          topic, probe.address + " did not answer within " + std::to_string(probe.deadlineSeconds) + " s",
          start);
    case ServerProbe::Outcome::unexpected:
      break;
  }
  return DoctorLine::missing(topic, probe.address + " is not a Pellum server (" + probe.detail + ")",
                             "check the address (PELLUM_TRANSCRIBE_URL)");
}

DoctorLine enginesLine(const EngineProbe& probe) {
  const std::string topic = "Speech engines";
  switch (probe.outcome) {
    case EngineProbe::Outcome::ok:
      return DoctorLine::ok(topic, probe.summary);
    case EngineProbe::Outcome::failed:
      return DoctorLine::missing(topic, probe.summary,
                                 "see pellum-server engines and the server guide's \"Speech engines\"");
    case EngineProbe::Outcome::remote:
      return DoctorLine::note(topic, "checked where the server runs (pellum-server engines)");
    case EngineProbe::Outcome::notRun:
      break;
  }
  return DoctorLine::note(topic, "pellum-server is not installed here; " + probe.summary);
}

DoctorLine signInLine(TokenOrigin origin) {
  switch (origin) {
    case TokenOrigin::environment:
      return DoctorLine::ok("Sign-in", "a device token from PELLUM_TOKEN");
    case TokenOrigin::keyring:
      return DoctorLine::ok("Sign-in", "signed in (the device token is in the keyring)");
    case TokenOrigin::none:
      break;
  }
  return DoctorLine::missing("Sign-in", "not signed in",
                             "choose \"Sign in with Pellum\u2026\" in the tray menu, or run pellum sign-in");
}

DoctorLine keyringLine(bool sessionBus, bool secretService) {
  if (!sessionBus) {
    return DoctorLine::missing("Keyring", "no D-Bus session bus, so no Secret Service",
                               "run inside your desktop session (DBUS_SESSION_BUS_ADDRESS)");
  }
  if (!secretService) {
    return DoctorLine::missing("Keyring", "no Secret Service on the session bus (org.freedesktop.secrets)",
                               "install and unlock a keyring: gnome-keyring or KWallet");
  }
  return DoctorLine::ok("Keyring", "the Secret Service answers (org.freedesktop.secrets)");
}

DoctorLine desktopEntryLine(const std::optional<std::string>& entryPath) {
  if (entryPath) return DoctorLine::ok("Desktop entry", *entryPath);
  return DoctorLine::missing("Desktop entry", "pellum.desktop is not installed",
                             "install the pellum package, or run cmake --install for your build");
}

DoctorLine urlSchemeLine(const std::string& scheme, const std::string& handler) {
  const std::string topic = "Sign-in links";
  if (handler == "pellum.desktop") return DoctorLine::ok(topic, scheme + ": links open Pellum");
  return DoctorLine::missing(
      topic, scheme + ": links " + (handler.empty() ? std::string("open nothing") : "open " + handler),
      "xdg-mime default pellum.desktop x-scheme-handler/" + scheme);
}

}  // namespace pellum
