// The dictation key from the GlobalShortcuts portal (KDE Plasma): a session
// with one "dictate" shortcut, bound once; the desktop then reports the
// shortcut's key going down and up as Activated and Deactivated. Every call
// and every Request's answer has a deadline; the user's confirmation of the
// shortcut (a dialog on some desktops) gets a longer one.

#include "keyboard/hotkey_manager_portal.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QTimer>

#include "base/log_line.h"
#include "keyboard/global_shortcuts_portal.h"
#include "keyboard/portal_shortcut.h"
#include "keyboard/portal_signal_relay.h"

namespace pellum {
namespace {

void logHotkey(const std::string& line) { logLine("HotkeyManager: " + line); }

const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString kRequestInterface = QStringLiteral("org.freedesktop.portal.Request");
constexpr int kCallDeadlineMs = 5000;
constexpr int kSessionDeadlineMs = 10000;
// BindShortcuts may wait on the user confirming the shortcut.
constexpr int kBindDeadlineMs = 120000;

PortalShortcuts dictateShortcut() {
  QVariantMap options;
  options.insert(QStringLiteral("description"), QStringLiteral("Dictate (hold to talk)"));
  return {PortalShortcut{QString::fromUtf8(kDictateShortcutId.data(), qsizetype(kDictateShortcutId.size())),
                         options}};
}

class PortalHotkeyManager : public HotkeyManager {
 public:
  PortalHotkeyManager() : bus_(QDBusConnection::sessionBus()) {
    registerPortalShortcutTypes();
    responseDeadline_.setSingleShot(true);
    QObject::connect(&responseDeadline_, &QTimer::timeout, this, [this] {
      forgetRequest();
      fail("the desktop's shortcut portal did not answer in time");
    });
    relay_.onActivated = [this](const QString& session, const QString& id) {
      if (session == session_ && id.toStdString() == kDictateShortcutId) keyWentDown();
    };
    relay_.onDeactivated = [this](const QString& session, const QString& id) {
      if (session == session_ && id.toStdString() == kDictateShortcutId) keyWentUp();
    };
  }

  ~PortalHotkeyManager() override {
    forgetRequest();
    if (!session_.isEmpty()) {
      // The shortcut stays in the desktop's settings; only this session
      // ends. Sent without waiting for the answer: nothing here needs it.
      bus_.send(QDBusMessage::createMethodCall(
          kService, session_, QStringLiteral("org.freedesktop.portal.Session"), QStringLiteral("Close")));
    }
  }

  bool start() override {
    if (!session_.isEmpty() || !pendingRequest_.isEmpty()) return reason_.empty();
    if (!bus_.isConnected()) return fail("no D-Bus session bus for the shortcut portal");
    const bool listening = bus_.connect(kService, kPath, kInterface, QStringLiteral("Activated"), &relay_,
                                        SLOT(activated(QDBusMessage))) &&
                           bus_.connect(kService, kPath, kInterface, QStringLiteral("Deactivated"), &relay_,
                                        SLOT(deactivated(QDBusMessage)));
    if (!listening) return fail("cannot listen to the shortcut portal's signals");
    createSession();
    reason_.clear();
    return true;
  }

  std::optional<DictationKey> key() const override {
    if (!reason_.empty()) return std::nullopt;
    DictationKey key;
    key.displayName = "the Dictate shortcut (System Settings, Shortcuts, Pellum)";
    key.capName = "key";
    return key;
  }

  std::string unavailableReason() const override { return reason_; }

  std::optional<DictationKeyError> chooseKey(const std::string&) override {
    // The desktop's shortcut settings choose the key.
    return std::nullopt;
  }

 private:
  void createSession() {
    QVariantMap options;
    options.insert(QStringLiteral("session_handle_token"),
                   QString::fromStdString(portalHandleToken(++tokens_)));
    // KDE 5.27 binds nothing (and never signals) unless the shortcuts come
    // with CreateSession too.
    options.insert(QStringLiteral("shortcuts"), QVariant::fromValue(dictateShortcut()));
    call(QStringLiteral("CreateSession"), {}, options, kSessionDeadlineMs,
         [this](const QVariantMap& results) {
           // A string in the portal's documentation, an object path from some
           // portal versions.
           const QVariant handle = results.value(QStringLiteral("session_handle"));
           session_ =
               handle.canConvert<QDBusObjectPath>() && handle.userType() == qMetaTypeId<QDBusObjectPath>()
                   ? handle.value<QDBusObjectPath>().path()
                   : handle.toString();
           if (session_.isEmpty()) {
             fail("the shortcut portal gave no session");
             return;
           }
           bindShortcuts();
         });
  }

  void bindShortcuts() {
    const QVariantList arguments{QVariant::fromValue(QDBusObjectPath(session_)),
                                 QVariant::fromValue(dictateShortcut()), QString()};
    call(QStringLiteral("BindShortcuts"), arguments, {}, kBindDeadlineMs, [this](const QVariantMap& results) {
      // KDE 5.27 answers an empty list when it bound nothing.
      const QVariant bound = results.value(QStringLiteral("shortcuts"));
      if (!bound.canConvert<QDBusArgument>() || qdbus_cast<PortalShortcuts>(bound).isEmpty()) {
        fail("the desktop bound no Dictate shortcut");
        return;
      }
      logHotkey("the desktop's Dictate shortcut is bound");
    });
  }

  // Calls `method` with `arguments` then an options map carrying a fresh
  // handle token, and runs `onResults` with the Request's results.
  void call(const QString& method, QVariantList arguments, QVariantMap options, int responseDeadlineMs,
            std::function<void(const QVariantMap&)> onResults) {
    const std::string token = portalHandleToken(++tokens_);
    options.insert(QStringLiteral("handle_token"), QString::fromStdString(token));
    // Listen on the Request before calling, so a quick answer is not missed.
    pendingRequest_ = QString::fromStdString(portalRequestPath(bus_.baseService().toStdString(), token));
    relay_.onResponse = [this, method, onResults = std::move(onResults)](uint response,
                                                                         const QVariantMap& results) {
      forgetRequest();
      if (response != 0) {
        fail(method.toStdString() + " was refused by the desktop (" + std::to_string(response) + ")");
        return;
      }
      onResults(results);
    };
    bus_.connect(kService, pendingRequest_, kRequestInterface, QStringLiteral("Response"), &relay_,
                 SLOT(response(uint, QVariantMap)));
    responseDeadline_.start(responseDeadlineMs);

    QDBusMessage message = QDBusMessage::createMethodCall(kService, kPath, kInterface, method);
    arguments.append(options);
    message.setArguments(arguments);
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(message, kCallDeadlineMs), this);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, this,
                     [this, method](QDBusPendingCallWatcher* w) {
                       w->deleteLater();
                       if (!w->isError()) return;
                       forgetRequest();
                       fail(method.toStdString() + " failed: " + w->error().message().toStdString());
                     });
  }

  void forgetRequest() {
    responseDeadline_.stop();
    if (pendingRequest_.isEmpty()) return;
    bus_.disconnect(kService, pendingRequest_, kRequestInterface, QStringLiteral("Response"), &relay_,
                    SLOT(response(uint, QVariantMap)));
    pendingRequest_.clear();
  }

  bool fail(const std::string& reason) {
    reason_ = reason + "; bind a shortcut to `pellum dictate press` / `pellum dictate release` instead";
    logHotkey(reason_);
    return false;
  }

  QDBusConnection bus_;
  PortalSignalRelay relay_;
  QTimer responseDeadline_;
  QString pendingRequest_;
  QString session_;
  std::uint32_t tokens_ = 0;
  std::string reason_;
};

}  // namespace

std::unique_ptr<HotkeyManager> makePortalHotkeyManager() { return std::make_unique<PortalHotkeyManager>(); }

}  // namespace pellum
