// The account commands of `pellum` as users run them, as separate
// processes: pairing through the real pellum-server (the pairing page
// approved over HTTP as a browser would), the callback delivered by a second
// `pellum` started with the redirect URL, the token kept in a real
// gnome-keyring, and `pellum transcribe` authorised by it.
#include <gtest/gtest.h>

#include <QProcess>
#include <QTemporaryDir>

#include "account/pairing_browser.h"
#include "account/single_instance_channel.h"
#include "server_process.h"
#include "support/event_loop.h"
#include "support/gnome_keyring.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::waitUntil;

constexpr const char* kSpeech =
    "/usr/share/pocketsphinx/test/data/librivox/sense_and_sensibility_01_austen_64kb-0880.wav";

test::GnomeKeyring& keyring() {
  static test::GnomeKeyring instance;
  return instance;
}

// The item the program stores its token in: the build's application id.
const QMap<QString, QString> kItem{{QStringLiteral("server"), QStringLiteral(PELLUM_APP_ID)},
                                   {QStringLiteral("user"), QStringLiteral("device_token")}};

QString lastLine(const QString& text) { return text.trimmed().split(QLatin1Char('\n')).last(); }

struct Outcome {
  int status = -1;
  QString out;
  QString err;
};

class AccountCommandsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(keyring().isRunning());
    ASSERT_TRUE(server.started()) << server.output();
    ASSERT_TRUE(runtime.isValid());
    keyring().clear(kItem);
    environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PELLUM_WEB_URL"),
                       QStringLiteral("http://127.0.0.1:%1").arg(server.webPort()));
    environment.insert(QStringLiteral("PELLUM_TRANSCRIBE_URL"),
                       QStringLiteral("http://127.0.0.1:%1").arg(server.transcribePort()));
    // A runtime directory of its own: the single-instance socket lives there.
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime.path());
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), runtime.filePath(QStringLiteral("config")));
    environment.remove(QStringLiteral("PELLUM_TOKEN"));
    environment.remove(QStringLiteral("DISPLAY"));
  }

  void TearDown() override {
    if (signIn.state() != QProcess::NotRunning) {
      signIn.kill();
      signIn.waitForFinished();
    }
  }

  Outcome run(const QStringList& arguments, const QByteArray& input = {}) {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(PELLUM_BINARY), arguments);
    Outcome result;
    if (!process.waitForStarted()) return result;
    process.write(input);
    process.closeWriteChannel();
    if (!waitUntil([&] { return process.state() == QProcess::NotRunning; }, 60s)) process.kill();
    process.waitForFinished();
    result.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = QString::fromUtf8(process.readAllStandardOutput());
    result.err = QString::fromUtf8(process.readAllStandardError());
    return result;
  }

  // Starts `pellum sign-in --no-browser` and returns the pairing URL it
  // prints alone on its first line of stdout.
  std::string startSignIn() {
    signIn.setProcessEnvironment(environment);
    signIn.start(QStringLiteral(PELLUM_BINARY), {QStringLiteral("sign-in"), QStringLiteral("--no-browser")});
    if (!signIn.waitForStarted()) return {};
    if (!waitUntil([&] { return signIn.canReadLine() || signIn.state() == QProcess::NotRunning; }, 20s))
      return {};
    return QString::fromUtf8(signIn.readLine()).trimmed().toStdString();
  }

  // The sign-in's exit status once it ended.
  int finishSignIn() {
    if (!waitUntil([&] { return signIn.state() == QProcess::NotRunning; }, 30s)) return -2;
    signInOut += QString::fromUtf8(signIn.readAllStandardOutput());
    signInErr = QString::fromUtf8(signIn.readAllStandardError());
    return signIn.exitStatus() == QProcess::NormalExit ? signIn.exitCode() : -1;
  }

  // The browser's part: approve the page, hand back the redirect.
  std::string approve(const std::string& pairingURL) {
    return test::approveInBrowser(server.webPort(), pairingURL);
  }

  // A whole pairing; returns the callback URL that completed it.
  std::string pair() {
    const std::string callback = approve(startSignIn());
    EXPECT_EQ(run({QString::fromStdString(callback)}).status, 0);
    EXPECT_EQ(finishSignIn(), 0) << signInErr.toStdString();
    return callback;
  }

  QStringList keyringSecrets() const {
    QStringList secrets;
    for (const auto& item : keyring().search(kItem)) secrets << item.secret;
    return secrets;
  }

  server::test::ServerProcess server;
  QTemporaryDir runtime;
  QProcessEnvironment environment;
  QProcess signIn;
  QString signInOut, signInErr;
};

TEST_F(AccountCommandsTest, PairingThroughTheBrowserStoresTheTokenOnlyInTheKeyring) {
  const std::string pairingURL = startSignIn();
  ASSERT_TRUE(pairingURL.starts_with(environment.value(QStringLiteral("PELLUM_WEB_URL")).toStdString() +
                                     "/devices/pair?code_challenge="))
      << pairingURL;
  EXPECT_EQ(test::queryItems(pairingURL)["platform"], "linux");

  const std::string callback = approve(pairingURL);
  ASSERT_TRUE(callback.starts_with("pellum://paired?code=")) << callback;
  const Outcome handOver = run({QString::fromStdString(callback)});
  EXPECT_EQ(handOver.status, 0) << handOver.err.toStdString();
  EXPECT_EQ(finishSignIn(), 0) << signInErr.toStdString();
  EXPECT_EQ(signInOut.trimmed(), QStringLiteral("Signed in"));

  const QStringList secrets = keyringSecrets();
  ASSERT_EQ(secrets.size(), 1);
  EXPECT_EQ(secrets[0].size(), 43);
  const auto devices = server.listDevices();
  ASSERT_EQ(devices.size(), 1u);
  EXPECT_NE(devices[0].find("\tlinux\t"), std::string::npos) << devices[0];
  // Nowhere else: not in the program's files.
  EXPECT_EQ(QProcess::execute(QStringLiteral("grep"), {QStringLiteral("-rqF"), secrets[0], runtime.path()}),
            1);

  const Outcome status = run({QStringLiteral("status")});
  EXPECT_EQ(status.status, 0);
  const QStringList lines = status.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
  ASSERT_EQ(lines.size(), 3) << status.out.toStdString();
  EXPECT_EQ(lines[0], QStringLiteral("Signed in"));
  EXPECT_EQ(lines[1], QStringLiteral("web: ") + environment.value(QStringLiteral("PELLUM_WEB_URL")));
  EXPECT_EQ(lines[2],
            QStringLiteral("transcribe: ") + environment.value(QStringLiteral("PELLUM_TRANSCRIBE_URL")));
}

TEST_F(AccountCommandsTest, TranscribeUsesTheSignedInToken) {
  pair();
  const Outcome transcribe =
      run({QStringLiteral("transcribe"), QStringLiteral("--batch"), QStringLiteral("--mode"),
           QStringLiteral("raw"), QStringLiteral("--language"), QStringLiteral("en"),
           QString::fromUtf8(kSpeech)});
  EXPECT_EQ(transcribe.status, 0) << transcribe.err.toStdString();
  EXPECT_FALSE(transcribe.out.trimmed().isEmpty());
}

TEST_F(AccountCommandsTest, PellumTokenOverridesTheSignedInToken) {
  pair();
  environment.insert(QStringLiteral("PELLUM_TOKEN"), QStringLiteral("not-a-device-token"));
  const Outcome transcribe =
      run({QStringLiteral("transcribe"), QStringLiteral("--batch"), QString::fromUtf8(kSpeech)});
  EXPECT_EQ(transcribe.status, 1);
  EXPECT_TRUE(transcribe.err.contains(QStringLiteral("Device access revoked. Sign in again.")))
      << transcribe.err.toStdString();
}

TEST_F(AccountCommandsTest, RevokedDeviceStaysSignedInButIsRefused) {
  pair();
  ASSERT_TRUE(server.revokeDevice("1"));
  EXPECT_TRUE(run({QStringLiteral("status")}).out.startsWith(QStringLiteral("Signed in\n")));
  const Outcome transcribe =
      run({QStringLiteral("transcribe"), QStringLiteral("--batch"), QString::fromUtf8(kSpeech)});
  EXPECT_EQ(transcribe.status, 1);
  EXPECT_TRUE(transcribe.err.contains(QStringLiteral("Device access revoked. Sign in again.")))
      << transcribe.err.toStdString();
}

TEST_F(AccountCommandsTest, ForgedStateEndsTheSignInWithStateMismatch) {
  std::string callback = approve(startSignIn());
  const auto state = callback.find("state=");
  ASSERT_NE(state, std::string::npos);
  callback = callback.substr(0, state) + "state=forged";
  EXPECT_EQ(run({QString::fromStdString(callback)}).status, 0);  // handed over
  EXPECT_EQ(finishSignIn(), 1);
  EXPECT_EQ(lastLine(signInErr), QStringLiteral("State mismatch. Aborted pairing."));
  EXPECT_TRUE(keyringSecrets().isEmpty());
  EXPECT_TRUE(server.listDevices().empty());
  EXPECT_TRUE(run({QStringLiteral("status")}).out.startsWith(QStringLiteral("Not signed in\n")));
}

TEST_F(AccountCommandsTest, ReplayedCodeIsRejectedByTheServer) {
  const std::string spent = pair();
  const QStringList firstToken = keyringSecrets();
  const std::string pairingURL = startSignIn();
  const std::string replay = "pellum://paired?code=" + test::queryItems(spent).at("code") +
                             "&state=" + test::queryItems(pairingURL).at("state");
  EXPECT_EQ(run({QString::fromStdString(replay)}).status, 0);
  EXPECT_EQ(finishSignIn(), 1);
  EXPECT_EQ(lastLine(signInErr), QStringLiteral("Pairing failed: server rejected the code."));
  EXPECT_EQ(keyringSecrets(), firstToken);
}

TEST_F(AccountCommandsTest, CallbackWithNoInstanceRunningIsHandledByTheNewStart) {
  const Outcome callback = run({QStringLiteral("pellum://paired?code=C&state=S")});
  EXPECT_EQ(callback.status, 1);
  EXPECT_EQ(callback.err.trimmed(), QStringLiteral("No pairing in progress."));
}

TEST_F(AccountCommandsTest, IgnoredCallbackWithNoInstanceRunningEndsQuietly) {
  const Outcome callback = run({QStringLiteral("pellum://PAIRED?code=C&state=S")});
  EXPECT_EQ(callback.status, 0);
  EXPECT_TRUE(callback.err.isEmpty()) << callback.err.toStdString();
}

TEST_F(AccountCommandsTest, TokenFromStdinSignsInAndSignOutForgetsIt) {
  const std::string token = server.addDevice("Headless");
  ASSERT_FALSE(token.empty());
  const Outcome signedIn = run({QStringLiteral("sign-in"), QStringLiteral("--with-token")},
                               QByteArray::fromStdString(token + "\n"));
  EXPECT_EQ(signedIn.status, 0) << signedIn.err.toStdString();
  EXPECT_EQ(keyringSecrets(), QStringList{QString::fromStdString(token)});
  EXPECT_TRUE(run({QStringLiteral("status")}).out.startsWith(QStringLiteral("Signed in\n")));

  const Outcome signedOut = run({QStringLiteral("sign-out")});
  EXPECT_EQ(signedOut.status, 0);
  EXPECT_TRUE(keyringSecrets().isEmpty());
  EXPECT_TRUE(run({QStringLiteral("status")}).out.startsWith(QStringLiteral("Not signed in\n")));
}

TEST_F(AccountCommandsTest, EmptyTokenOnStdinIsABadInput) {
  const Outcome signedIn = run({QStringLiteral("sign-in"), QStringLiteral("--with-token")}, "\n");
  EXPECT_EQ(signedIn.status, 2);
  EXPECT_TRUE(keyringSecrets().isEmpty());
}

TEST_F(AccountCommandsTest, KeychainThatDoesNotAnswerFailsTheTokenSave) {
  environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                     QStringLiteral("unix:path=") + runtime.filePath(QStringLiteral("no-bus")));
  const Outcome signedIn = run({QStringLiteral("sign-in"), QStringLiteral("--with-token")}, "tok\n");
  EXPECT_EQ(signedIn.status, 1);
  EXPECT_TRUE(
      signedIn.err.startsWith(QStringLiteral("Could not save token: The operation couldn't be completed. "
                                             "(KeychainError status ")))
      << signedIn.err.toStdString();
}

TEST_F(AccountCommandsTest, SecondSignInWhileOneRunsIsRefused) {
  ASSERT_FALSE(startSignIn().empty());
  const Outcome second = run({QStringLiteral("sign-in"), QStringLiteral("--no-browser")});
  EXPECT_EQ(second.status, 1);
  EXPECT_TRUE(second.err.contains(QStringLiteral("already running"))) << second.err.toStdString();
}

// A running Pellum (played here by the test's own channel on the same
// socket) takes a later start's arguments: the desktop's scheme handler and
// a second desktop start both hand over and exit at once.
TEST_F(AccountCommandsTest, LaterStartsHandTheirArgumentsToTheRunningInstance) {
  SingleInstanceChannel running(runtime.filePath(QStringLiteral(PELLUM_APP_ID ".instance")));
  std::vector<QStringList> received;
  running.onArguments = [&](const QStringList& arguments) { received.push_back(arguments); };
  ASSERT_TRUE(running.listen());

  const QString callback = QStringLiteral("pellum://paired?code=C&state=S");
  const Outcome handler = run({callback});
  EXPECT_EQ(handler.status, 0) << handler.err.toStdString();
  ASSERT_TRUE(waitUntil([&] { return received.size() == 1; }));
  EXPECT_EQ(received[0], QStringList{callback});

  environment.insert(QStringLiteral("DISPLAY"), QStringLiteral(":0"));
  environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
  const Outcome desktop = run({});
  EXPECT_EQ(desktop.status, 0) << desktop.err.toStdString();
  ASSERT_TRUE(waitUntil([&] { return received.size() == 2; }));
  EXPECT_TRUE(received[1].isEmpty());
}

}  // namespace
}  // namespace pellum
