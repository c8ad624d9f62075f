// Picks the paste backend by the session's one policy (desktop_session.h),
// PELLUM_PASTE_BACKEND overriding it.

#include <QDebug>

#include "base/desktop_session.h"
#include "keyboard/text_inserter_x11.h"

namespace pellum {
namespace {

class UnavailableTextInserter : public TextInserter {
 public:
  explicit UnavailableTextInserter(std::string reason) : reason_(std::move(reason)) {
    qWarning().noquote() << "TextInserter:" << QString::fromStdString(reason_);
  }
  void insert(const std::string&) override {}
  std::string unavailableReason() const override { return reason_; }

 private:
  std::string reason_;
};

}  // namespace

std::unique_ptr<TextInserter> makeUnavailableTextInserter(std::string reason) {
  return std::make_unique<UnavailableTextInserter>(std::move(reason));
}

std::unique_ptr<TextInserter> TextInserter::create() {
  const std::string backend = currentBackend(Capability::paste);
  if (backend == "x11") return makeX11TextInserter();
  if (backend == "wayland") return makeWaylandTextInserter();
  return makeUnavailableTextInserter("no paste backend in this session (\"" + backend + "\")");
}

}  // namespace pellum
