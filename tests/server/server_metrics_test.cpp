#include "server_metrics.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

bool has(const std::string& text, const std::string& line) {
  return text.find(line + "\n") != std::string::npos;
}

TEST(ServerMetrics, RendersGaugesCountersAndTheHistogram) {
  ServerMetrics metrics;
  metrics.countRequest("POST /transcribe", 200);
  metrics.countRequest("POST /transcribe", 200);
  metrics.countRequest("GET /transcribe/stream", 401);
  metrics.observeStopToDone(0.07);
  metrics.observeStopToDone(0.4);
  metrics.countStoreError();
  const std::string text = metrics.render({3, 1, 5});
  EXPECT_TRUE(has(text, "# TYPE pellum_live_sessions gauge"));
  EXPECT_TRUE(has(text, "pellum_live_sessions 3"));
  EXPECT_TRUE(has(text, "pellum_uploads_in_flight 1"));
  EXPECT_TRUE(has(text, "pellum_decode_queue_depth 5"));
  EXPECT_TRUE(has(text, "pellum_requests_total{route=\"POST /transcribe\",status=\"200\"} 2"));
  EXPECT_TRUE(has(text, "pellum_requests_total{route=\"GET /transcribe/stream\",status=\"401\"} 1"));
  EXPECT_TRUE(has(text, "pellum_stop_to_done_seconds_bucket{le=\"0.05\"} 0"));
  EXPECT_TRUE(has(text, "pellum_stop_to_done_seconds_bucket{le=\"0.1\"} 1"));
  EXPECT_TRUE(has(text, "pellum_stop_to_done_seconds_bucket{le=\"0.5\"} 2"));
  EXPECT_TRUE(has(text, "pellum_stop_to_done_seconds_bucket{le=\"+Inf\"} 2"));
  EXPECT_TRUE(has(text, "pellum_stop_to_done_seconds_sum 0.47"));
  EXPECT_TRUE(has(text, "pellum_stop_to_done_seconds_count 2"));
  EXPECT_TRUE(has(text, "pellum_store_errors_total 1"));
}

TEST(ServerMetrics, StrangersPathsShareOneLabel) {
  ServerMetrics metrics;
  for (int i = 0; i < 100; ++i) metrics.countRequest("GET /probe-" + std::to_string(i), 404);
  metrics.countRequest("GET /transcribe/stream\"} 9\n", 404);  // no way to break out of the label
  const std::string text = metrics.render({});
  EXPECT_TRUE(has(text, "pellum_requests_total{route=\"other\",status=\"404\"} 101"));
  EXPECT_EQ(text.find("probe"), std::string::npos);
  metrics.countRequest(routeLabel("DELETE", "/api/devices/exchange"), 404);
  metrics.countRequest(routeLabel("POST", "/api/devices/exchange"), 400);
  const std::string after = metrics.render({});
  EXPECT_TRUE(has(after, "pellum_requests_total{route=\"other\",status=\"404\"} 102"));
  EXPECT_TRUE(has(after, "pellum_requests_total{route=\"POST /api/devices/exchange\",status=\"400\"} 1"));
}

}  // namespace
}  // namespace pellum::server
