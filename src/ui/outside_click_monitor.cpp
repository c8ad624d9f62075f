#include "ui/outside_click_monitor.h"

namespace pellum {
namespace {

// Where no press can be watched, a card closes only by its button, its
// timer or Escape.
class NullOutsideClickMonitor : public OutsideClickMonitor {
 public:
  explicit NullOutsideClickMonitor(std::string reason) : reason_(std::move(reason)) {}
  bool start(OnPress) override { return false; }
  void stop() override {}
  std::string unavailableReason() const override { return reason_; }

 private:
  std::string reason_;
};

}  // namespace

std::unique_ptr<OutsideClickMonitor> makeNullOutsideClickMonitor(std::string reason) {
  return std::make_unique<NullOutsideClickMonitor>(std::move(reason));
}

}  // namespace pellum
