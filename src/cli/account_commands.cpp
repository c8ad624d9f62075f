#include "cli/account_commands.h"

#include <QCoreApplication>
#include <QFile>
#include <cstdio>
#include <memory>

#include "account/auth_service.h"
#include "account/single_instance_channel.h"
#include "account/web_base.h"
#include "base/log_line.h"
#include "base/threads.h"
#include "pellum/build_config.h"
#include "transcription/server_url.h"

namespace pellum {
namespace {

constexpr int kSuccess = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

// On the command line an alert is its text on stderr, and it ends the
// command with a failure.
class ExitingAlertPresenter final : public AlertPresenter {
 public:
  void showAlert(const std::string& message) override {
    printLine(stderr, message);
    shown = true;
    QCoreApplication::exit(kFailed);
  }
  bool shown = false;
};

// --no-browser: the pairing page's address alone on a line of stdout, for
// a browser on another machine or for a script.
class PrintingBrowserOpener final : public BrowserOpener {
 public:
  std::optional<BrowserError> open(const std::string& url) override {
    printLine(stderr, "pellum sign-in: open this address in a browser and approve the device:");
    printLine(stdout, url);
    return std::nullopt;
  }
};

// Routes callback links that later starts hand over to the service.
void forwardCallbacks(SingleInstanceChannel& channel, AuthService& auth) {
  channel.onArguments = [&auth](const QStringList& arguments) {
    for (const QString& argument : arguments) {
      if (isCallbackArgument(argument)) auth.handleCallback(argument.toStdString());
    }
  };
}

// Ends the command with success once a token is cached.
void exitWhenSignedIn(AuthService& auth) {
  auth.onSignInChange = [&auth] {
    if (!auth.cachedToken()) return;
    printLine(stdout, "Signed in");
    QCoreApplication::exit(kSuccess);
  };
}

bool hasOnly(const QStringList& arguments, const QStringList& allowed, const char* command) {
  for (const QString& argument : arguments) {
    if (allowed.contains(argument)) continue;
    printLine(stderr,
              std::string("pellum ") + command + ": unknown option \"" + argument.toStdString() + "\"");
    return false;
  }
  return true;
}

int signInWithToken() {
  QFile input;
  if (!input.open(stdin, QIODevice::ReadOnly)) return kUsage;
  const std::string token = QString::fromUtf8(input.readAll()).trimmed().toStdString();
  if (token.empty()) {
    printLine(stderr, "pellum sign-in: no token on standard input");
    return kUsage;
  }
  if (const auto error = AuthService::shared().signInWithToken(token)) {
    printLine(stderr, error->description());
    return kFailed;
  }
  printLine(stdout, "Signed in");
  return kSuccess;
}

}  // namespace

int runSignInCommand(const QStringList& arguments) {
  const QString noBrowser = QStringLiteral("--no-browser"), withToken = QStringLiteral("--with-token");
  if (!hasOnly(arguments, {noBrowser, withToken}, "sign-in")) return kUsage;
  if (arguments.contains(withToken)) return signInWithToken();

  // The callback comes back through the single-instance channel, so this
  // command must be the instance.
  SingleInstanceChannel channel;
  if (!channel.listen()) {
    printLine(stderr, channel.isAnotherInstanceRunning()
                          ? "pellum sign-in: Pellum is already running; sign in from its menu"
                          : "pellum sign-in: cannot listen on " + channel.socketPath().toStdString());
    return kFailed;
  }
  AuthService& auth = AuthService::shared();
  auth.setAlertPresenter(std::make_shared<ExitingAlertPresenter>());
  if (arguments.contains(noBrowser)) {
    auth.setBrowserOpener(std::make_shared<PrintingBrowserOpener>());
  } else {
    printLine(stderr, "pellum sign-in: approve this device on the page that opens in your browser");
  }
  forwardCallbacks(channel, auth);
  exitWhenSignedIn(auth);
  auth.signIn();
  return QCoreApplication::exec();
}

int runSignOutCommand(const QStringList& arguments) {
  if (!hasOnly(arguments, {}, "sign-out")) return kUsage;
  AuthService::shared().signOut();
  printLine(stdout, "Signed out");
  return kSuccess;
}

int runStatusCommand(const QStringList& arguments) {
  if (!hasOnly(arguments, {}, "status")) return kUsage;
  AuthService& auth = AuthService::shared();
  printLine(stdout, auth.cachedToken() ? "Signed in" : "Not signed in");
  printLine(stdout, "web: " + auth.webBaseURL());
  printLine(stdout, "transcribe: " + resolveServerURL());
  return kSuccess;
}

bool isCallbackArgument(const QString& argument) {
  return argument.startsWith(QString::fromStdString(resolveUrlScheme(build_config::urlScheme)) +
                             QLatin1Char(':'));
}

int runCallbackCommand(const QStringList& arguments) {
  SingleInstanceChannel channel;
  if (channel.sendToRunningInstance(arguments)) return kSuccess;
  if (!channel.listen() && channel.sendToRunningInstance(arguments)) return kSuccess;  // lost a race to start

  AuthService& auth = AuthService::shared();
  auto alerts = std::make_shared<ExitingAlertPresenter>();
  auth.setAlertPresenter(alerts);
  forwardCallbacks(channel, auth);
  exitWhenSignedIn(auth);
  channel.onArguments(arguments);
  // Queued after any alert the callback raised: with no exchange under way
  // there is nothing left to wait for.
  postToMainThread([&auth, alerts] {
    if (!auth.isExchanging() && !alerts->shown) QCoreApplication::exit(kSuccess);
  });
  return QCoreApplication::exec();
}

}  // namespace pellum
