// The portal backend against a scripted GlobalShortcuts portal on a private
// D-Bus daemon: the calls KDE's portal needs (the shortcuts also in
// CreateSession), each answered through its Request object, then the
// shortcut's Activated and Deactivated signals as press and release.
#include "keyboard/hotkey_manager_portal.h"

#include <gtest/gtest.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVirtualObject>
#include <QProcess>

#include "keyboard/portal_shortcut.h"
#include "support/event_loop.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using Events = std::vector<std::string>;

const QString kDesktopPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kSession = QStringLiteral("/org/freedesktop/portal/desktop/session/1_1/pellum_1");

// Answers CreateSession and BindShortcuts as the portal does: the method
// returns the Request's path, and the Request's Response signal carries the
// results.
class ScriptedPortal : public QDBusVirtualObject {
 public:
  explicit ScriptedPortal(QDBusConnection bus) : bus_(std::move(bus)) { registerPortalShortcutTypes(); }

  QString introspect(const QString&) const override { return {}; }

  bool handleMessage(const QDBusMessage& message, const QDBusConnection&) override {
    calls.push_back(message.member());
    // Complex arguments arrive still marshalled.
    const QVariant last = message.arguments().isEmpty() ? QVariant() : message.arguments().last();
    const QVariantMap options =
        last.canConvert<QDBusArgument>() ? qdbus_cast<QVariantMap>(last) : last.toMap();
    if (message.member() == QStringLiteral("CreateSession")) {
      createSessionHadShortcuts = options.contains(QStringLiteral("shortcuts"));
    }
    if (message.member() == QStringLiteral("Close")) {
      bus_.send(message.createReply());
      return true;
    }
    QString sender = message.service();
    sender.remove(QLatin1Char(':')).replace(QLatin1Char('.'), QLatin1Char('_'));
    const QString request = QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2")
                                .arg(sender, options.value(QStringLiteral("handle_token")).toString());
    bus_.send(message.createReply(QVariant::fromValue(QDBusObjectPath(request))));
    QVariantMap results;
    if (message.member() == QStringLiteral("CreateSession")) {
      results.insert(QStringLiteral("session_handle"), sessionAsObjectPath
                                                           ? QVariant::fromValue(QDBusObjectPath(kSession))
                                                           : QVariant(kSession));
    } else {
      PortalShortcuts bound;
      if (bindsShortcut) bound.append({QStringLiteral("dictate"), {}});
      results.insert(QStringLiteral("shortcuts"), QVariant::fromValue(bound));
    }
    QDBusMessage response = QDBusMessage::createSignal(
        request, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"));
    response << 0u << results;
    bus_.send(response);
    return true;
  }

  void shortcut(const QString& signal, const QString& session = kSession) {
    QDBusMessage message = QDBusMessage::createSignal(
        kDesktopPath, QStringLiteral("org.freedesktop.portal.GlobalShortcuts"), signal);
    message << QVariant::fromValue(QDBusObjectPath(session)) << QStringLiteral("dictate") << qulonglong(1)
            << QVariantMap();
    bus_.send(message);
  }

  std::vector<QString> calls;
  bool createSessionHadShortcuts = false;
  bool sessionAsObjectPath = false;
  bool bindsShortcut = true;  // false: KDE's answer when it bound nothing

 private:
  QDBusConnection bus_;
};

// One private bus for the test program: Qt keeps its session bus
// connection for the life of the process.
class HotkeyManagerPortalTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    daemon_ = new QProcess;
    daemon_->start(QStringLiteral("dbus-daemon"), {QStringLiteral("--session"), QStringLiteral("--nofork"),
                                                   QStringLiteral("--print-address=1")});
    if (!daemon_->waitForStarted(5000) || !test::waitUntil([] { return daemon_->canReadLine(); }, 5s)) return;
    const QString address = QString::fromUtf8(daemon_->readLine()).trimmed();
    qputenv("DBUS_SESSION_BUS_ADDRESS", address.toUtf8());
    portalBus_ = new QDBusConnection(QDBusConnection::connectToBus(address, QStringLiteral("portal")));
    portalBus_->registerService(QStringLiteral("org.freedesktop.portal.Desktop"));
  }

  static void TearDownTestSuite() {
    delete portalBus_;
    QDBusConnection::disconnectFromBus(QStringLiteral("portal"));
    daemon_->kill();
    daemon_->waitForFinished(2000);
    delete daemon_;
  }

  void SetUp() override {
    ASSERT_TRUE(portalBus_ && portalBus_->isConnected()) << "no private D-Bus daemon";
    portal_ = std::make_unique<ScriptedPortal>(*portalBus_);
    ASSERT_TRUE(portalBus_->registerVirtualObject(kDesktopPath, portal_.get(),
                                                  QDBusConnection::VirtualObjectRegisterOption::SubPath));
  }

  void TearDown() override {
    manager_.reset();
    test::spin(50ms);  // the session's Close, to this test's portal
    portalBus_->unregisterObject(kDesktopPath, QDBusConnection::UnregisterTree);
  }

  static inline QProcess* daemon_ = nullptr;
  static inline QDBusConnection* portalBus_ = nullptr;
  std::unique_ptr<ScriptedPortal> portal_;
  std::unique_ptr<HotkeyManager> manager_;
  Events events_;
};

TEST_F(HotkeyManagerPortalTest, BindsTheShortcutAndReportsItsPressAndRelease) {
  manager_ = makePortalHotkeyManager();
  manager_->setCallbacks([this] { events_.push_back("press"); }, [this] { events_.push_back("release"); });
  ASSERT_TRUE(manager_->start()) << manager_->unavailableReason();
  ASSERT_TRUE(test::waitUntil([&] { return portal_->calls.size() >= 2; }, 5s));
  EXPECT_EQ(portal_->calls,
            (std::vector<QString>{QStringLiteral("CreateSession"), QStringLiteral("BindShortcuts")}));
  EXPECT_TRUE(portal_->createSessionHadShortcuts);
  test::spin(200ms);  // the BindShortcuts Response
  EXPECT_EQ(manager_->unavailableReason(), "");
  ASSERT_TRUE(manager_->key());

  // Another session's shortcut is not ours; the signals keep their order.
  const QString other = QStringLiteral("/org/freedesktop/portal/desktop/session/9/other");
  portal_->shortcut(QStringLiteral("Activated"), other);
  portal_->shortcut(QStringLiteral("Deactivated"), other);
  portal_->shortcut(QStringLiteral("Activated"));
  ASSERT_TRUE(test::waitUntil([&] { return events_.size() == 1; }, 5s));
  portal_->shortcut(QStringLiteral("Deactivated"));
  ASSERT_TRUE(test::waitUntil([&] { return events_.size() == 2; }, 5s));
  EXPECT_EQ(events_, (Events{"press", "release"}));

  manager_.reset();
  EXPECT_TRUE(test::waitUntil([&] { return portal_->calls.back() == QStringLiteral("Close"); }, 5s));
}

TEST_F(HotkeyManagerPortalTest, TheSessionHandleMayComeAsAnObjectPath) {
  portal_->sessionAsObjectPath = true;
  manager_ = makePortalHotkeyManager();
  manager_->setCallbacks([this] { events_.push_back("press"); }, [this] { events_.push_back("release"); });
  ASSERT_TRUE(manager_->start());
  ASSERT_TRUE(test::waitUntil([&] { return portal_->calls.size() >= 2; }, 5s));
  portal_->shortcut(QStringLiteral("Activated"));
  ASSERT_TRUE(test::waitUntil([&] { return events_.size() == 1; }, 5s));
  EXPECT_EQ(manager_->unavailableReason(), "");
}

TEST_F(HotkeyManagerPortalTest, AnEmptyBoundListSaysTheKeyIsNotAvailable) {
  portal_->bindsShortcut = false;
  manager_ = makePortalHotkeyManager();
  ASSERT_TRUE(manager_->start());
  ASSERT_TRUE(test::waitUntil([&] { return !manager_->unavailableReason().empty(); }, 5s));
  EXPECT_NE(manager_->unavailableReason().find("bound no Dictate shortcut"), std::string::npos)
      << manager_->unavailableReason();
  EXPECT_NE(manager_->unavailableReason().find("pellum dictate"), std::string::npos);
  EXPECT_FALSE(manager_->key());
}

}  // namespace
}  // namespace pellum
