#pragma once

#include <set>
#include <string>

#include "audio/capture_source.h"

namespace pellum::test {

// A capture source the test drives by hand: `push` delivers bytes as the
// capture thread would, on the calling thread. Devices listed in `refused`
// fail to open, as a busy microphone does; devices in `missing` are not
// there at all, as an unplugged one.
class FakeCaptureSource : public CaptureSource {
 public:
  StartResult start(const std::string& device, Deliver deliver, std::string& error) override {
    ++starts;
    if (missing.contains(device)) {
      error = "no such device";
      return StartResult::noSuchDevice;
    }
    if (refused.contains(device)) {
      error = "device refused";
      return StartResult::failed;
    }
    openedDevice = device;
    deliver_ = std::move(deliver);
    running = true;
    return StartResult::started;
  }
  void stop() override {
    running = false;
    deliver_ = nullptr;
  }

  void push(const std::string& bytes) {
    if (deliver_) deliver_(bytes.data(), bytes.size());
  }

  std::set<std::string> refused;
  std::set<std::string> missing;
  std::string openedDevice = "<never opened>";
  bool running = false;
  int starts = 0;

 private:
  Deliver deliver_;
};

}  // namespace pellum::test
