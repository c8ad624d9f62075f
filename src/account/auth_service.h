#pragma once

#include <QObject>
#include <QPointer>
#include <QThread>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "account/alert_presenter.h"
#include "account/browser_opener.h"
#include "account/sign_in_error.h"
#include "account/token_store.h"
#include "base/threads.h"

class QNetworkAccessManager;

namespace pellum {

// Links this machine to the user's account on the web service, and holds
// the device token that every request to the transcription server carries.
//
// Sign-in is an authorization-code exchange with proof key: `signIn` opens
// the service's pairing page in the browser with a SHA-256 challenge of a
// random verifier and a random state; the page, once the user approves,
// sends the browser to "<urlScheme>://paired?code=…&state=…", which reaches
// `handleCallback` (through the single-instance channel on Linux, from the
// web-authentication sheet's completion on macOS); the code
// and the verifier are traded for a device token at api/devices/exchange;
// the token goes to the token store and becomes `cachedToken`. A present
// `cachedToken` means "signed in".
//
// Thread contract: the service lives on the main thread. Construction,
// `signIn`, `signOut`, `handleCallback`, `signInWithToken`, the setters and
// `onSignInChange` (set and called) belong to the main thread.
// `cachedToken`, `webBaseURL` and `urlScheme` may be read from any thread.
// The exchange runs on the service's "pellum.sign-in" thread: the reply,
// the token save and the failure reports happen there; the new token is
// published and `onSignInChange` called on the main thread afterwards.
// Alerts are always shown asynchronously on the main thread.
class AuthService : public QObject {
 public:
  // What the service is built from; `systemParts` gives the real ones.
  struct Parts {
    std::string webBaseURL;
    std::string urlScheme;
    std::shared_ptr<TokenStore> tokenStore;
    std::shared_ptr<AlertPresenter> alerts;
    std::shared_ptr<BrowserOpener> browser;
    std::function<std::string(std::size_t)> randomBytes;
    std::function<std::string()> deviceName;
    std::function<std::optional<std::string>()> deviceFingerprint;
  };

  // The web base from PELLUM_WEB_URL or the build, the build's scheme, the
  // keychain, xdg-open, the system generator and this machine's facts.
  // Alerts go to a message box when a QApplication runs, else to stderr.
  // A web base that does not parse as a URL stops the process: it is a
  // broken build or environment, not something to run with.
  static Parts systemParts();

  // The one instance of the process, made on first use with `systemParts`
  // (a QCoreApplication must exist) and living on the main thread.
  static AuthService& shared();

  explicit AuthService(Parts parts);
  ~AuthService() override;

  const std::string& webBaseURL() const { return webBaseURL_; }
  const std::string& urlScheme() const { return urlScheme_; }
  std::optional<std::string> cachedToken() const;
  // The state of the sign-in in progress, if any.
  std::optional<std::string> pendingState() const { return pendingState_; }

  // Called on the main thread after a token was stored or removed.
  std::function<void()> onSignInChange;

  // Starts a browser sign-in: new verifier, challenge and state (any
  // earlier pending pair is replaced), then the pairing page in the
  // browser. Outcomes come as alerts or through `onSignInChange`.
  void signIn();

  // Forgets the token at once, deletes the stored one, then calls
  // `onSignInChange` asynchronously. Nothing is sent to the server.
  void signOut();

  // A callback URL from the browser. Wrong scheme or host, or no code or
  // state: ignored silently, the pending sign-in kept. No sign-in pending:
  // "No pairing in progress.". Another sign-in's state: "State mismatch.
  // Aborted pairing.", the pending sign-in kept. Otherwise the pending pair
  // is cleared and the code exchanged.
  void handleCallback(const std::string& url);

  // Stores a token obtained elsewhere (a device added on the server by
  // its operator) and signs in with it, as a successful exchange does.
  [[nodiscard]] std::optional<SignInError> signInWithToken(const std::string& token);

  // Whether an exchange request is on its way.
  bool isExchanging() const { return exchanging_; }

  void setAlertPresenter(std::shared_ptr<AlertPresenter> alerts) { alerts_ = std::move(alerts); }
  void setBrowserOpener(std::shared_ptr<BrowserOpener> browser) { browser_ = std::move(browser); }

 private:
  void exchangeCode(const std::string& code, const std::string& verifier);
  // Sign-in thread: the exchange's reply is in.
  void finishExchange(std::optional<int> httpStatus, const std::string& body,
                      const std::string& transportError);
  // Main thread: publish a stored token.
  void adoptToken(const std::string& token);
  void showAuthError(const SignInError& error);

  const std::string webBaseURL_;
  const std::string urlScheme_;
  std::shared_ptr<TokenStore> tokenStore_;
  std::shared_ptr<AlertPresenter> alerts_;
  std::shared_ptr<BrowserOpener> browser_;
  std::function<std::string(std::size_t)> randomBytes_;
  std::function<std::string()> deviceName_;
  std::function<std::optional<std::string>()> deviceFingerprint_;

  std::optional<std::string> pendingState_;
  std::optional<std::string> pendingVerifier_;
  bool exchanging_ = false;

  // Read from any thread (the transcription client's requests), written on
  // the main thread: a lock keeps the read whole.
  mutable std::mutex tokenMutex_;
  std::optional<std::string> cachedToken_;

  // Made with the service, before any other thread knows it: the guard of
  // every completion posted back to the main thread.
  const QPointer<AuthService> self_{this};
  QNetworkAccessManager* network_ = nullptr;  // made on the exchange thread when first needed
  // Last, so that its thread stops before the state above goes.
  WorkerThread exchangeWorker_{QStringLiteral("pellum.sign-in")};
};

}  // namespace pellum
