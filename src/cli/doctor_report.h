#pragma once

#include <optional>
#include <string>
#include <vector>

namespace pellum {

// One line of `pellum doctor`: a piece of the set-up, what was found, and
// what to do when it is missing.
struct DoctorLine {
  enum class Status { ok, missing, note };
  Status status = Status::ok;
  std::string topic;   // "Sound server"
  std::string detail;  // what was found, or what is wrong
  std::string hint;    // what to do; shown only when something is missing
  // Dictation cannot work without it: a missing one makes the exit status
  // non-zero. Missing pieces Pellum can do without are only shown.
  bool needed = true;

  static DoctorLine ok(std::string topic, std::string detail) {
    return {Status::ok, std::move(topic), std::move(detail), {}, true};
  }
  static DoctorLine missing(std::string topic, std::string detail, std::string hint, bool needed = true) {
    return {Status::missing, std::move(topic), std::move(detail), std::move(hint), needed};
  }
  static DoctorLine note(std::string topic, std::string detail) {
    return {Status::note, std::move(topic), std::move(detail), {}, false};
  }
};

// "✓ Sound server: PulseAudio answers", "✗ Keyring: …\n    → hint".
std::string formatDoctorLine(const DoctorLine& line);
// 0 when nothing needed is missing, else 1.
int doctorExitStatus(const std::vector<DoctorLine>& lines);

// What asking the transcription server with the device token gave.
struct ServerProbe {
  enum class Outcome { accepted, refusedToken, noToken, unreachable, timedOut, unexpected };
  Outcome outcome = Outcome::unreachable;
  std::string address;  // the server's base address
  bool local = false;   // on this machine (loopback)
  std::string detail;   // the network error or the unexpected status
  int deadlineSeconds = 5;
};
DoctorLine serverLine(const ServerProbe& probe);

// What the speech-engine check of a local server printed.
struct EngineProbe {
  enum class Outcome { ok, failed, notRun, remote };
  Outcome outcome = Outcome::notRun;
  std::string summary;  // the "live: …" line, or the failure's last line
};
DoctorLine enginesLine(const EngineProbe& probe);

// Where the sign-in token comes from, if anywhere.
enum class TokenOrigin { none, environment, keyring };
DoctorLine signInLine(TokenOrigin origin);

// Whether the Secret Service is on the session bus.
DoctorLine keyringLine(bool sessionBus, bool secretService);

// The handler the desktop has for the sign-in callback's scheme (the
// desktop file name, empty when none) and the desktop entry found.
DoctorLine desktopEntryLine(const std::optional<std::string>& entryPath);
DoctorLine urlSchemeLine(const std::string& scheme, const std::string& handler);

}  // namespace pellum
