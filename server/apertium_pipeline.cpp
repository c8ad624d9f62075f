#include "apertium_pipeline.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>

#include "apertium_modes.h"

extern char** environ;

namespace pellum::server {
namespace {

constexpr auto kAnswerTimeout = std::chrono::seconds(10);

}  // namespace

ApertiumPipeline::ApertiumPipeline(std::string command) : command_(std::move(command)) {}

ApertiumPipeline::~ApertiumPipeline() { stop(); }

bool ApertiumPipeline::start() {
  int input[2], output[2];
  if (pipe2(input, O_CLOEXEC) != 0) return false;
  if (pipe2(output, O_CLOEXEC) != 0) {
    close(input[0]);
    close(input[1]);
    return false;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input[0], 0);
  posix_spawn_file_actions_adddup2(&actions, output[1], 1);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  // A group of its own, so a Ctrl-C meant for the server does not kill the
  // pipeline under a translation in progress.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  posix_spawnattr_setpgroup(&attributes, 0);
  std::string shell = "/bin/sh", flag = "-c";
  std::array<char*, 4> argv{shell.data(), flag.data(), command_.data(), nullptr};
  const int spawned = posix_spawn(&pid_, "/bin/sh", &actions, &attributes, argv.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  close(input[0]);
  close(output[1]);
  if (spawned != 0) {
    pid_ = -1;
    close(input[1]);
    close(output[0]);
    return false;
  }
  toPipeline_ = input[1];
  fromPipeline_ = output[0];
  return true;
}

void ApertiumPipeline::stop() {
  if (pid_ <= 0) return;
  close(toPipeline_);
  close(fromPipeline_);
  toPipeline_ = fromPipeline_ = -1;
  kill(-pid_, SIGTERM);  // every stage, not only the shell
  while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
}

// Writes the input and reads up to the NUL that ends its answer, with poll,
// so neither side can fill a pipe while waiting for the other.
bool ApertiumPipeline::exchange(std::string_view input, std::string& output) {
  const auto deadline = std::chrono::steady_clock::now() + kAnswerTimeout;
  std::size_t written = 0;
  std::array<char, 4096> buffer{};
  while (true) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return false;
    std::array<pollfd, 2> fds{{{fromPipeline_, POLLIN, 0}, {toPipeline_, POLLOUT, 0}}};
    const nfds_t count = written < input.size() ? 2 : 1;
    if (poll(fds.data(), count, static_cast<int>(left.count())) < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (count == 2 && (fds[1].revents & (POLLERR | POLLHUP))) return false;
    if (count == 2 && (fds[1].revents & POLLOUT)) {
      const ssize_t n = write(toPipeline_, input.data() + written, input.size() - written);
      if (n < 0 && errno != EINTR && errno != EAGAIN) return false;
      if (n > 0) written += static_cast<std::size_t>(n);
    }
    if (fds[0].revents & (POLLIN | POLLHUP | POLLERR)) {
      const ssize_t n = read(fromPipeline_, buffer.data(), buffer.size());
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) return false;
      output.append(buffer.data(), static_cast<std::size_t>(n));
      if (const auto end = output.find('\0'); end != std::string::npos) {
        // Exactly one answer per text, so nothing follows the NUL.
        output.resize(end);
        return written == input.size();
      }
    }
  }
}

std::optional<std::string> ApertiumPipeline::translate(std::string_view text) {
  std::lock_guard lock(mutex_);
  if (pid_ <= 0 && !start()) return std::nullopt;
  // lt-proc in bilingual mode holds a word back until it sees what follows
  // it, so a text ending on a word would never flush; a blank lets it go.
  std::string input = apertiumEscape(text);
  input.append(" ");
  input.push_back('\0');
  std::string output;
  if (!exchange(input, output)) {
    stop();
    return std::nullopt;
  }
  return apertiumUnescape(output);
}

}  // namespace pellum::server
