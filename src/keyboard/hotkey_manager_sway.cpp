// The dictation key on sway: two bindings added at run time over sway's IPC
// socket (a press without repeat, and a release), whose `nop` commands come
// back as "binding" events on a second connection. Commands and events
// travel on separate connections so a reply is never mistaken for an event.
//
// sway takes the bound key from the focused application, as the X11 grab
// does, and fires the bindings for any keyboard on the seat.

#include "keyboard/hotkey_manager_sway.h"

#include <QTimer>
#include <cstdlib>
#include <utility>

#include <xkbcommon/xkbcommon.h>

#include "base/log_line.h"
#include "keyboard/sway_key_binding.h"
#include "wayland/sway_ipc.h"

namespace pellum {
namespace {

void logHotkey(const std::string& line) { logLine("HotkeyManager: " + line); }

// Right Ctrl: sway has no way to tell which keys the keyboard has, and Fn
// rarely reaches the system on PC keyboards.
constexpr char kAutomaticKey[] = "Control_R";
constexpr std::chrono::milliseconds kReplyDeadline{1000};

class SwayHotkeyManager : public HotkeyManager {
 public:
  SwayHotkeyManager(std::chrono::milliseconds holdCap, std::string socketPath)
      : socketPath_(std::move(socketPath)) {
    holdCap_.setSingleShot(true);
    holdCap_.setInterval(holdCap);
    QObject::connect(&holdCap_, &QTimer::timeout, this, [this] { endCappedHold(); });
  }

  ~SwayHotkeyManager() override {
    // The bindings outlive this connection in sway: without this the key
    // would stay taken from every application until sway restarts.
    if (!isConnected()) return;
    if (cancelArmed_) commands_->request(sway::runCommand, swayUnbindCancelCommand());
    if (!bound_.empty()) commands_->request(sway::runCommand, swayUnbindKeyCommand(bound_));
  }

  bool start() override {
    if (!isConnected() && !connect()) return false;
    const auto name = resolveKey();
    if (!name) return false;
    if (auto error = bindInPlaceOf(*name)) return unavailable(error->description());
    reason_.clear();
    return true;
  }

  std::optional<DictationKey> key() const override {
    return bound_.empty() ? std::nullopt : std::optional(key_);
  }

  std::string unavailableReason() const override { return reason_; }

  std::optional<DictationKeyError> chooseKey(const std::string& keysymName) override {
    std::string previous = std::exchange(requested_, keysymName);
    if (!isConnected() || bound_.empty()) return std::nullopt;
    const DictationKeyRequest request = currentRequest();
    if (request.source == DictationKeyRequest::Source::environment) return std::nullopt;
    auto error = bindInPlaceOf(request.keysymName.empty() ? kAutomaticKey : request.keysymName);
    if (error) requested_ = std::move(previous);  // the old key stays, and so does its choice
    return error;
  }

  std::vector<DictationKey> availableKeys() const override {
    // sway does not say which keys the keyboard has; Fn is offered only
    // where it can be seen.
    return dictationKeyCandidates([](std::string_view name) { return name != "XF86Fn"; });
  }

  void setCancelKeyArmed(bool armed) override {
    if (!isConnected() || armed == cancelArmed_) return;
    cancelArmed_ = armed;
    commands_->send(sway::runCommand, armed ? swayBindCancelCommand() : swayUnbindCancelCommand(),
                    [](std::optional<std::string> reply) {
                      // Only the cancel key is lost; the dictation goes on.
                      if (!reply) return;
                      if (auto error = swayCommandError(*reply)) logHotkey("the Escape binding: " + *error);
                    });
  }

 private:
  bool isConnected() const { return commands_ && events_ && !lost_; }

  bool connect() {
    lost_ = false;
    commands_ = std::make_unique<SwayIpc>(kReplyDeadline);
    events_ = std::make_unique<SwayIpc>(kReplyDeadline);
    if (!commands_->connectTo(socketPath_) || !events_->connectTo(socketPath_)) {
      const std::string error = !commands_->error().empty() ? commands_->error() : events_->error();
      commands_.reset();
      events_.reset();
      return unavailable("cannot reach sway: " + error);
    }
    commands_->onLost = [this] { lose(commands_->error()); };
    events_->onLost = [this] { lose(events_->error()); };
    events_->onEvent = [this](const sway::Message& message) { handleEvent(message); };
    const auto subscribed = events_->request(sway::subscribe, R"(["binding"])");
    if (!subscribed || subscribed->find("true") == std::string::npos) {
      commands_.reset();
      events_.reset();
      return unavailable("sway did not take the subscription to its key binding events");
    }
    return true;
  }

  void handleEvent(const sway::Message& message) {
    if (message.type != sway::kBindingEvent) return;
    const auto signal = swayKeySignalFrom(message.payload);
    if (!signal) return;
    switch (*signal) {
      case SwayKeySignal::press:
        if (isHeld()) {
          // sway dropped this key's release (another key went down during
          // the hold): the press the user now makes ends the dictation.
          holdCap_.stop();
          keyWentUp();
          return;
        }
        keyWentDown();
        holdCap_.start();
        return;
      case SwayKeySignal::release:
        holdCap_.stop();
        keyWentUp();
        return;
      case SwayKeySignal::cancel:
        cancelPressed();
        return;
    }
  }

  void endCappedHold() {
    if (!isHeld()) return;
    logHotkey(key_.displayName + " held past the cap; ending the hold (sway may have lost its release)");
    keyWentUp();
  }

  void lose(const std::string& why) {
    if (lost_) return;
    lost_ = true;
    bound_.clear();
    cancelArmed_ = false;
    holdCap_.stop();
    // No release will come from a sway that is gone.
    if (isHeld()) keyWentUp();
    unavailable("lost the connection to sway (" + why +
                "); the dictation key does not work until Pellum restarts");
  }

  DictationKeyRequest currentRequest() const {
    const char* forced = std::getenv("PELLUM_DICTATION_KEY");
    return requestedDictationKey(forced ? std::optional<std::string>(forced) : std::nullopt, requested_);
  }

  // The keysym name to bind now. A stored choice that names no key falls
  // back to the automatic one; a forced one leaves the key unavailable.
  std::optional<std::string> resolveKey() {
    const DictationKeyRequest request = currentRequest();
    if (request.keysymName.empty()) return std::string(kAutomaticKey);
    if (isKnownKey(request.keysymName)) return request.keysymName;
    if (request.source == DictationKeyRequest::Source::environment) {
      unavailable("PELLUM_DICTATION_KEY names no key: \"" + request.keysymName + "\"");
      return std::nullopt;
    }
    logHotkey("no key is named \"" + request.keysymName + "\"; using the automatic key instead");
    return std::string(kAutomaticKey);
  }

  static bool isKnownKey(const std::string& name) {
    return isSafeSwayKeyName(name) &&
           xkb_keysym_from_name(name.c_str(), XKB_KEYSYM_NO_FLAGS) != XKB_KEY_NoSymbol;
  }

  // Binds `name` and only then unbinds the key bound before, so a press
  // always has a binding to land in. On failure the old binding stays.
  std::optional<DictationKeyError> bindInPlaceOf(const std::string& name) {
    if (!isKnownKey(name)) return DictationKeyError{DictationKeyError::Kind::unknownName, name};
    const xkb_keysym_t keysym = xkb_keysym_from_name(name.c_str(), XKB_KEYSYM_NO_FLAGS);
    const DictationKey key = describeDictationKey(keysym, name);
    if (name == bound_) {
      key_ = key;
      return std::nullopt;
    }
    const auto reply = commands_->request(sway::runCommand, swayBindKeyCommand(name));
    if (!reply) return DictationKeyError{DictationKeyError::Kind::noKeyboardAccess, key.displayName};
    if (auto error = swayCommandError(*reply)) {
      logHotkey("sway refused to bind " + name + ": " + *error);
      return DictationKeyError{DictationKeyError::Kind::unknownName, key.displayName};
    }
    if (!bound_.empty()) {
      // The old key's release will land in no binding.
      if (isHeld()) keyWentUp();
      holdCap_.stop();
      commands_->request(sway::runCommand, swayUnbindKeyCommand(bound_));
    }
    bound_ = name;
    key_ = key;
    return std::nullopt;
  }

  bool unavailable(std::string reason) {
    reason_ = std::move(reason);
    logHotkey(reason_);
    return false;
  }

  std::string socketPath_;
  std::unique_ptr<SwayIpc> commands_;
  std::unique_ptr<SwayIpc> events_;
  QTimer holdCap_;
  std::string requested_;
  std::string bound_;  // the keysym name sway has bindings for
  DictationKey key_;
  bool cancelArmed_ = false;
  bool lost_ = false;
  std::string reason_;
};

}  // namespace

std::unique_ptr<HotkeyManager> makeSwayHotkeyManager(std::chrono::milliseconds holdCap,
                                                     std::string socketPath) {
  return std::make_unique<SwayHotkeyManager>(holdCap, std::move(socketPath));
}

}  // namespace pellum
