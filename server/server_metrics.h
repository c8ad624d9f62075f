#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace pellum::server {

// What the server counts for `GET /metrics`, and its rendering in the
// Prometheus text format. Thread-safe: every connection reports here.
class ServerMetrics {
 public:
  // The stop→done histogram's upper bounds, in seconds.
  static constexpr std::array<double, 10> kStopToDoneBuckets{0.05, 0.1, 0.25, 0.5, 1, 2, 5, 10, 30, 60};

  // A request answered with `status`. `route` is what the request asked for
  // ("POST /transcribe"); anything but the server's own routes counts as
  // "other", so strangers' paths cannot grow the label set.
  void countRequest(std::string_view route, int status);
  // How long a live session took from the client's stop to its last result.
  void observeStopToDone(double seconds);
  void countStoreError();

  // Read from the parts that own them at the moment of the scrape.
  struct Gauges {
    std::size_t liveSessions = 0;
    int uploadsInFlight = 0;
    std::size_t decodeQueueDepth = 0;
  };
  std::string render(const Gauges& gauges) const;

 private:
  mutable std::mutex lock_;
  std::map<std::pair<std::string, int>, std::uint64_t> requests_;
  std::array<std::uint64_t, kStopToDoneBuckets.size()> stopToDoneBuckets_{};
  std::uint64_t stopToDoneCount_ = 0;
  double stopToDoneSum_ = 0;
  std::uint64_t storeErrors_ = 0;
};

// A request's route as countRequest takes it: "METHOD /path".
std::string routeLabel(std::string_view method, std::string_view path);

}  // namespace pellum::server
