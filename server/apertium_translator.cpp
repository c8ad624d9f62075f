#include "apertium_translator.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "apertium_modes.h"

extern char** environ;

namespace pellum::server {
namespace {

// Larger texts would mean minutes of speech; the engine never produces them.
constexpr std::size_t kMaxTextBytes = 256 * 1024;

struct Pipe {
  int fd[2] = {-1, -1};
  bool open() { return pipe2(fd, O_CLOEXEC) == 0; }
  ~Pipe() {
    for (int f : fd) {
      if (f >= 0) close(f);
    }
  }
  void closeEnd(int end) {
    if (fd[end] >= 0) close(fd[end]);
    fd[end] = -1;
  }
};

// Feeds `input` to the child and collects its output, with poll so neither
// side can fill a pipe and wait for the other.
enum class Exchange { done, failed, timedOut };
Exchange exchangeText(int toChild, int fromChild, std::string_view input, std::string& output,
                      std::chrono::steady_clock::time_point deadline) {
  std::size_t written = 0;
  if (input.empty()) {
    close(toChild);
    toChild = -1;
  }
  std::array<char, 4096> buffer{};
  while (true) {
    std::array<pollfd, 2> fds{{{fromChild, POLLIN, 0}, {toChild, POLLOUT, 0}}};
    const nfds_t count = toChild >= 0 ? 2 : 1;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      if (toChild >= 0) close(toChild);
      return Exchange::timedOut;
    }
    const int ready = poll(fds.data(), count, static_cast<int>(left.count()));
    if (ready < 0) {
      if (errno == EINTR) continue;
      if (toChild >= 0) close(toChild);
      return Exchange::failed;
    }
    if (ready == 0) continue;  // the deadline check above ends it
    if (toChild >= 0 && (fds[1].revents & (POLLOUT | POLLERR | POLLHUP))) {
      const ssize_t n = write(toChild, input.data() + written, input.size() - written);
      if (n < 0 && errno != EINTR && errno != EAGAIN) {
        close(toChild);
        return Exchange::failed;
      }
      if (n > 0) written += static_cast<std::size_t>(n);
      if (written == input.size()) {
        close(toChild);
        toChild = -1;
      }
    }
    if (fds[0].revents & (POLLIN | POLLHUP | POLLERR)) {
      const ssize_t n = read(fromChild, buffer.data(), buffer.size());
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) break;
      output.append(buffer.data(), static_cast<std::size_t>(n));
    }
  }
  if (toChild >= 0) close(toChild);
  return Exchange::done;
}

std::string trimmed(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  return text;
}

}  // namespace

ApertiumTranslator::ApertiumTranslator(std::string modesDir, std::string program,
                                       std::chrono::milliseconds oneShotTimeout)
    : modesDir_(std::move(modesDir)), program_(std::move(program)), oneShotTimeout_(oneShotTimeout) {}

std::string ApertiumTranslator::installedMode(std::string_view from, std::string_view to) const {
  std::error_code ec;
  for (const auto& name : apertiumModeNames(from, to)) {
    if (std::filesystem::exists(modesDir_ + "/" + name + ".mode", ec)) return name;
  }
  return {};
}

bool ApertiumTranslator::hasPair(std::string_view from, std::string_view to) const {
  return !installedMode(from, to).empty();
}

std::variant<std::string, TranslationError> ApertiumTranslator::translate(std::string_view text,
                                                                          std::string_view from,
                                                                          std::string_view to) {
  const std::string mode = installedMode(from, to);
  if (mode.empty()) return TranslationError{missingPairText(from, to)};
  if (text.size() > kMaxTextBytes) return TranslationError{"text too long to translate"};
  if (auto* pipeline = pipelineFor(mode)) {
    if (auto translated = pipeline->translate(text)) return trimmed(std::move(*translated));
  }
  return translateOnce(text, mode);
}

ApertiumPipeline* ApertiumTranslator::pipelineFor(const std::string& mode) {
  std::lock_guard lock(mutex_);
  auto& pipeline = pipelines_[mode];
  if (!pipeline) {
    std::ifstream file(modesDir_ + "/" + mode + ".mode");
    std::stringstream text;
    text << file.rdbuf();
    const std::string command = nullFlushPipeline(text.str());
    if (command.empty()) return nullptr;
    pipeline = std::make_unique<ApertiumPipeline>(command);
  }
  return pipeline.get();
}

std::variant<std::string, TranslationError> ApertiumTranslator::translateOnce(std::string_view text,
                                                                              const std::string& mode) {
  Pipe input, output;
  if (!input.open() || !output.open()) return TranslationError{"translation failed: cannot create pipes"};

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input.fd[0], 0);
  posix_spawn_file_actions_adddup2(&actions, output.fd[1], 1);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  // `apertium` is a shell script running a pipeline of stages: in a process
  // group of its own they can all be killed together.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  posix_spawnattr_setpgroup(&attributes, 0);
  std::string program = program_, unknownMarks = "-u";
  std::array<char*, 4> argv{program.data(), unknownMarks.data(), const_cast<char*>(mode.c_str()), nullptr};
  pid_t child = 0;
  const int spawned = posix_spawnp(&child, program.c_str(), &actions, &attributes, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  if (spawned != 0) return TranslationError{"translation failed: cannot run apertium"};
  input.closeEnd(0);
  output.closeEnd(1);

  std::string translated;
  const Exchange exchanged = exchangeText(input.fd[1], output.fd[0], text, translated,
                                          std::chrono::steady_clock::now() + oneShotTimeout_);
  input.fd[1] = -1;  // exchangeText closed it
  // Stages may outlive the script that started them (or it may still be
  // waiting for them): the whole group goes.
  if (exchanged != Exchange::done) kill(-child, SIGKILL);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (exchanged == Exchange::timedOut) {
    return TranslationError{"translation failed: apertium " + mode + " took over " +
                            std::to_string(oneShotTimeout_.count()) + " ms"};
  }
  if (exchanged != Exchange::done || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    return TranslationError{"translation failed: apertium " + mode + " did not finish"};
  }
  return trimmed(std::move(translated));
}

}  // namespace pellum::server
