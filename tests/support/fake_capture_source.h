#pragma once

#include <set>
#include <string>

#include "audio/capture_source.h"

namespace pellum::test {

// A capture source the test drives by hand: `push` delivers bytes as the
// capture thread would, on the calling thread. Devices listed in `refused`
// fail to open, as an unplugged microphone does.
class FakeCaptureSource : public CaptureSource {
 public:
  bool start(const std::string& device, Deliver deliver, std::string& error) override {
    ++starts;
    if (refused.contains(device)) {
      error = "device refused";
      return false;
    }
    openedDevice = device;
    deliver_ = std::move(deliver);
    running = true;
    return true;
  }
  void stop() override {
    running = false;
    deliver_ = nullptr;
  }

  void push(const std::string& bytes) {
    if (deliver_) deliver_(bytes.data(), bytes.size());
  }

  std::set<std::string> refused;
  std::string openedDevice = "<never opened>";
  bool running = false;
  int starts = 0;

 private:
  Deliver deliver_;
};

}  // namespace pellum::test
