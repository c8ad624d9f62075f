#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <chrono>
#include <nlohmann/json.hpp>
#include <string>

#include "server_process.h"

namespace pellum::test {

// The pellum desktop program as a separate process on the current DISPLAY,
// talking to `server` with `token`, its settings and runtime directory
// under `configHome`, its log collected.
class DesktopProgram {
 public:
  DesktopProgram(const server::test::ServerProcess& server, const std::string& token,
                 const QString& configHome, const QString& pulseServer);
  // Against any transcription and web addresses (a scripted peer's).
  DesktopProgram(const QString& transcribeUrl, const QString& webUrl, const std::string& token,
                 const QString& configHome, const QString& pulseServer);
  ~DesktopProgram();
  DesktopProgram(const DesktopProgram&) = delete;
  DesktopProgram& operator=(const DesktopProgram&) = delete;

  bool waitForLog(const QString& line, std::chrono::milliseconds timeout = std::chrono::seconds(10));
  // How many times `line` has appeared in the log so far.
  int countInLog(const QString& line);
  QByteArray log();

  // The newest of the recent dictations, as `pellum history --json` run by
  // the program's user prints it (the same data folder), once there is one
  // (within 3 s); null when there is none.
  nlohmann::json newestDictation() const;

 private:
  QString dataHome_;
  QProcess process_;
  QByteArray log_;
};

}  // namespace pellum::test
