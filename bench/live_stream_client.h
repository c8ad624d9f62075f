#pragma once

#include <sys/types.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#include "server/route_client.h"

namespace pellum::server::bench {

// How one live session went for a client that speaks in real time.
struct LiveStreamFigures {
  bool done = false;         // ended with "done"
  double stopToDoneMs = 0;   // from the stop message to "done"
  double wallOverAudio = 0;  // the session's wall time over its audio length
};

// Streams `pcm` (16 kHz s16le) to the live route at speaking pace, 30 ms a
// chunk as the desktop program sends it, then stops and reads to the end.
inline LiveStreamFigures streamAtSpeakingPace(unsigned short port, const std::string& token,
                                              const std::string& pcm, const std::string& target) {
  using Clock = std::chrono::steady_clock;
  test::LiveClient client;
  if (client.connect(port, target, token) != 101) return {};
  const auto chunks = test::pcmChunks(pcm);
  const auto start = Clock::now();
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    std::this_thread::sleep_until(start + std::chrono::milliseconds(30 * i));
    if (!client.sendBinary(chunks[i])) return {};
  }
  std::this_thread::sleep_until(start + std::chrono::milliseconds(30 * chunks.size()));
  const auto stop = Clock::now();
  client.sendText(R"({"type":"stop"})");
  LiveStreamFigures figures;
  while (auto message = client.read()) {
    if (test::messageType(*message) != "done") continue;
    const auto done = Clock::now();
    figures.done = true;
    figures.stopToDoneMs = std::chrono::duration<double, std::milli>(done - stop).count();
    figures.wallOverAudio =
        std::chrono::duration<double>(done - start).count() / (static_cast<double>(pcm.size()) / 32000);
  }
  return figures;
}

// A figure of /proc/PID/status in MB ("VmHWM", "VmRSS").
inline double statusMegabytes(pid_t pid, const std::string& key) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind(key + ":", 0) == 0) return std::stod(line.substr(key.size() + 1)) / 1024;
  }
  return 0;
}

}  // namespace pellum::server::bench
