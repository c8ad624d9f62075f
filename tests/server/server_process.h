#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "temp_dir.h"

namespace pellum::server::test {

// Runs a real pellum-server on loopback with port 0 for both listeners and a
// data directory of its own; its standard output goes to a file so the logs
// never block it. Stopped with SIGTERM when the object goes.
class ServerProcess {
 public:
  explicit ServerProcess(std::vector<std::string> extraArgs = {});
  ~ServerProcess();
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  bool started() const { return webPort_ != 0 && transcribePort_ != 0; }
  unsigned short webPort() const { return webPort_; }
  unsigned short transcribePort() const { return transcribePort_; }
  const std::string& dataDir() const { return dataDir_; }
  pid_t pid() const { return pid_; }

  // `pellum-server devices add NAME` against this server's device store (its
  // --store when it was given one, else its data directory).
  std::string addDevice(const std::string& name) const;
  // `pellum-server devices list`, one line per device.
  std::vector<std::string> listDevices() const;
  bool revokeDevice(const std::string& id) const;

  // Sends SIGTERM and returns the exit status (-1 when killed by a signal).
  int terminate();
  // SIGKILL, as a crash or the OOM killer would end it: no checks.
  void killNow();
  // Everything the server printed so far.
  std::string output() const;

 private:
  std::vector<std::string> deviceCommand(std::vector<std::string> words) const;

  TempDir dir_;
  std::vector<std::string> deviceArgs_;
  std::string dataDir_;
  std::string outputPath_;
  pid_t pid_ = -1;
  unsigned short webPort_ = 0;
  unsigned short transcribePort_ = 0;
};

struct CommandResult {
  int status = -1;
  std::string out;
  std::string err;
};

// Runs the server binary with `args` to completion.
CommandResult runServerCommand(const std::vector<std::string>& args);

// Starts `program` with `args`, its output going to the two files.
pid_t startProgram(const std::string& program, const std::vector<std::string>& args,
                   const std::string& outPath, const std::string& errPath);
// Its exit status once it ended (-1 when a signal ended it).
int waitForProgram(pid_t pid);

// Runs `program` with `args` to completion, with `environment` ("NAME=value")
// added to this process's own.
CommandResult runProgram(const std::string& program, const std::vector<std::string>& args,
                         const std::vector<std::string>& environment = {});

}  // namespace pellum::server::test
