#include "server_metrics.h"

#include <cstdio>

namespace pellum::server {
namespace {

constexpr std::array<std::string_view, 10> kRoutes{"GET /transcribe/stream", "POST /transcribe",
                                                   "GET /healthz",           "GET /readyz",
                                                   "GET /metrics",           "GET /",
                                                   "GET /devices/pair",      "POST /devices/pair",
                                                   "POST /devices/revoke",   "POST /api/devices/exchange"};

std::string number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", value);
  return text;
}

void family(std::string& out, const char* name, const char* type, const char* help) {
  out += std::string("# HELP ") + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
}

}  // namespace

std::string routeLabel(std::string_view method, std::string_view path) {
  return std::string(method) + " " + std::string(path);
}

void ServerMetrics::countRequest(std::string_view route, int status) {
  // Anything but the server's own routes is one label, so strangers' paths
  // cannot grow the label set.
  std::string label = "other";
  for (std::string_view known : kRoutes) {
    if (route == known) label = known;
  }
  std::lock_guard guard(lock_);
  ++requests_[{std::move(label), status}];
}

void ServerMetrics::observeStopToDone(double seconds) {
  std::lock_guard guard(lock_);
  for (std::size_t i = 0; i < kStopToDoneBuckets.size(); ++i) {
    if (seconds <= kStopToDoneBuckets[i]) ++stopToDoneBuckets_[i];
  }
  ++stopToDoneCount_;
  stopToDoneSum_ += seconds;
}

void ServerMetrics::countStoreError() {
  std::lock_guard guard(lock_);
  ++storeErrors_;
}

std::string ServerMetrics::render(const Gauges& gauges) const {
  std::lock_guard guard(lock_);
  std::string out;
  family(out, "pellum_live_sessions", "gauge", "Live transcription sessions open.");
  out += "pellum_live_sessions " + std::to_string(gauges.liveSessions) + "\n";
  family(out, "pellum_uploads_in_flight", "gauge", "Uploads being received or decoded.");
  out += "pellum_uploads_in_flight " + std::to_string(gauges.uploadsInFlight) + "\n";
  family(out, "pellum_decode_queue_depth", "gauge", "Decoding tasks waiting for a worker.");
  out += "pellum_decode_queue_depth " + std::to_string(gauges.decodeQueueDepth) + "\n";
  family(out, "pellum_requests_total", "counter", "Requests answered, by route and HTTP status.");
  for (const auto& [key, count] : requests_) {
    out += "pellum_requests_total{route=\"" + key.first + "\",status=\"" + std::to_string(key.second) +
           "\"} " + std::to_string(count) + "\n";
  }
  family(out, "pellum_stop_to_done_seconds", "histogram",
         "Time from a live client's stop to its final result.");
  for (std::size_t i = 0; i < kStopToDoneBuckets.size(); ++i) {
    out += "pellum_stop_to_done_seconds_bucket{le=\"" + number(kStopToDoneBuckets[i]) + "\"} " +
           std::to_string(stopToDoneBuckets_[i]) + "\n";
  }
  out += "pellum_stop_to_done_seconds_bucket{le=\"+Inf\"} " + std::to_string(stopToDoneCount_) + "\n";
  out += "pellum_stop_to_done_seconds_sum " + number(stopToDoneSum_) + "\n";
  out += "pellum_stop_to_done_seconds_count " + std::to_string(stopToDoneCount_) + "\n";
  family(out, "pellum_store_errors_total", "counter", "Device store operations that failed.");
  out += "pellum_store_errors_total " + std::to_string(storeErrors_) + "\n";
  return out;
}

}  // namespace pellum::server
