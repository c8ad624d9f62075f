#pragma once

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QObject>
#include <QVariantMap>
#include <functional>

namespace pellum {

// Receives the GlobalShortcuts portal's D-Bus signals (QtDBus delivers
// signals to slots only) and hands them on as callbacks.
class PortalSignalRelay : public QObject {
  Q_OBJECT

 public:
  std::function<void(uint response, const QVariantMap& results)> onResponse;
  std::function<void(const QString& session, const QString& shortcutId)> onActivated;
  std::function<void(const QString& session, const QString& shortcutId)> onDeactivated;

 public Q_SLOTS:
  void response(uint response, const QVariantMap& results) {
    // A copy: the callback may set the next one.
    if (auto callback = onResponse) callback(response, results);
  }
  // The whole message: QtDBus matches it to any signature.
  void activated(const QDBusMessage& message) { forward(onActivated, message); }
  void deactivated(const QDBusMessage& message) { forward(onDeactivated, message); }

 private:
  // Activated and Deactivated carry (o session, s shortcut id, t timestamp,
  // a{sv} options).
  static void forward(const std::function<void(const QString&, const QString&)>& callback,
                      const QDBusMessage& message) {
    const QVariantList arguments = message.arguments();
    if (!callback || arguments.size() < 2) return;
    callback(arguments[0].value<QDBusObjectPath>().path(), arguments[1].toString());
  }
};

}  // namespace pellum
