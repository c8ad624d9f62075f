#include "server_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <regex>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

#include "recorded_speech.h"

extern char** environ;

namespace pellum::server::test {
namespace {

pid_t spawn(const std::vector<std::string>& args, const std::string& outPath, const std::string& errPath,
            const std::string& program = PELLUM_SERVER_BINARY,
            const std::vector<std::string>& environment = {}) {
  std::vector<std::string> words{program};
  words.insert(words.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (auto& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  std::vector<std::string> variables(environment);
  for (char** variable = environ; *variable; ++variable) variables.emplace_back(*variable);
  std::vector<char*> envp;
  for (auto& variable : variables) envp.push_back(variable.data());
  envp.push_back(nullptr);
  pid_t pid = -1;
  if (posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data()) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

int waitFor(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

pid_t startProgram(const std::string& program, const std::vector<std::string>& args,
                   const std::string& outPath, const std::string& errPath) {
  return spawn(args, outPath, errPath, program);
}

int waitForProgram(pid_t pid) { return waitFor(pid); }

CommandResult runServerCommand(const std::vector<std::string>& args) {
  return runProgram(PELLUM_SERVER_BINARY, args);
}

CommandResult runProgram(const std::string& program, const std::vector<std::string>& args,
                         const std::vector<std::string>& environment) {
  TempDir dir;
  const std::string out = dir.path() + "/out", err = dir.path() + "/err";
  const pid_t pid = spawn(args, out, err, program, environment);
  if (pid < 0) return {};
  CommandResult result;
  result.status = waitFor(pid);
  result.out = readFile(out);
  result.err = readFile(err);
  return result;
}

ServerProcess::ServerProcess(std::vector<std::string> extraArgs)
    : dataDir_(dir_.path() + "/data"), outputPath_(dir_.path() + "/server.out") {
  std::vector<std::string> args{"--web-listen", "127.0.0.1:0", "--transcribe-listen",
                                "127.0.0.1:0",  "--data-dir",  dataDir_};
  args.insert(args.end(), extraArgs.begin(), extraArgs.end());
  deviceArgs_ = {"--data-dir", dataDir_};
  for (std::size_t i = 0; i + 1 < extraArgs.size(); ++i) {
    if (extraArgs[i] == "--store") deviceArgs_ = {"--store", extraArgs[i + 1]};
  }
  pid_ = spawn(args, outputPath_, dir_.path() + "/server.err");
  if (pid_ < 0) return;
  // The line appears once both listeners are bound; a server that dies or
  // never prints it leaves the ports at 0 and the test fails on started().
  const std::regex line(R"(listening web=http://127\.0\.0\.1:(\d+) transcribe=http://127\.0\.0\.1:(\d+))");
  for (int attempt = 0; attempt < 3000; ++attempt) {
    std::smatch match;
    const std::string text = output();
    if (std::regex_search(text, match, line)) {
      webPort_ = static_cast<unsigned short>(std::stoi(match[1]));
      transcribePort_ = static_cast<unsigned short>(std::stoi(match[2]));
      return;
    }
    if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
      pid_ = -1;
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

ServerProcess::~ServerProcess() {
  if (pid_ > 0) terminate();
}

void ServerProcess::killNow() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  waitFor(pid_);
  pid_ = -1;
}

int ServerProcess::terminate() {
  if (pid_ <= 0) return -1;
  kill(pid_, SIGTERM);
  const int status = waitFor(pid_);
  pid_ = -1;
  // A clean stop exits 0 and says nothing on stderr; under the sanitizers a
  // leak changes the status and undefined behaviour leaves a report there.
  const std::string errors = readFile(dir_.path() + "/server.err");
  EXPECT_EQ(status, 0) << errors;
  EXPECT_EQ(errors.find("runtime error"), std::string::npos) << errors;
  EXPECT_EQ(errors.find("Sanitizer"), std::string::npos) << errors;
  return status;
}

std::string ServerProcess::output() const { return readFile(outputPath_); }

std::vector<std::string> ServerProcess::deviceCommand(std::vector<std::string> words) const {
  words.insert(words.end(), deviceArgs_.begin(), deviceArgs_.end());
  return words;
}

std::string ServerProcess::addDevice(const std::string& name) const {
  auto result = runServerCommand(deviceCommand({"devices", "add", name}));
  while (!result.out.empty() && result.out.back() == '\n') result.out.pop_back();
  return result.status == 0 ? result.out : std::string();
}

std::vector<std::string> ServerProcess::listDevices() const {
  std::istringstream lines(runServerCommand(deviceCommand({"devices", "list"})).out);
  std::vector<std::string> out;
  for (std::string line; std::getline(lines, line);) out.push_back(line);
  return out;
}

bool ServerProcess::revokeDevice(const std::string& id) const {
  return runServerCommand(deviceCommand({"devices", "revoke", id})).status == 0;
}

}  // namespace pellum::server::test
