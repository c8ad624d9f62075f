#include "account/auth_service.h"

#include <QApplication>
#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>
#include <cstdio>
#include <cstdlib>

#include "account/device_facts.h"
#include "account/exchange_reply.h"
#include "account/keychain_token_store.h"
#include "account/message_box_alert_presenter.h"
#include "account/pairing_callback.h"
#include "account/pairing_url.h"
#include "account/pkce.h"
#include "account/web_base.h"
#include "base/crypto.h"
#include "base/info_dictionary.h"
#include "base/log_line.h"
#include "base/threads.h"
#include "pellum/build_config.h"

namespace pellum {
namespace {

constexpr int kExchangeTimeoutMs = 15000;

// Without a widget application (the command line) an alert is one line on
// stderr.
class SystemAlertPresenter final : public AlertPresenter {
 public:
  void showAlert(const std::string& message) override {
    if (qobject_cast<QApplication*>(QCoreApplication::instance())) return box_.showAlert(message);
    printLine(stderr, "Pellum: " + message);
  }

 private:
  MessageBoxAlertPresenter box_;
};

}  // namespace

AuthService::Parts AuthService::systemParts() {
  std::optional<std::string> fromEnvironment;
  if (qEnvironmentVariableIsSet("PELLUM_WEB_URL"))
    fromEnvironment = qEnvironmentVariable("PELLUM_WEB_URL").toStdString();
  const std::string appId(build_config::appId);
  Parts parts;
  parts.webBaseURL = resolveWebBase(fromEnvironment, infoString("PellumWebURL"));
  parts.urlScheme = resolveUrlScheme(build_config::urlScheme);
  const QUrl parsed(QString::fromStdString(parts.webBaseURL), QUrl::StrictMode);
  if (!parsed.isValid() || parsed.scheme().isEmpty() || parsed.host().isEmpty()) {
    printLine(stderr, "AuthService: the web address \"" + parts.webBaseURL + "\" is not a URL");
    std::abort();
  }
  parts.tokenStore = std::make_shared<KeychainTokenStore>(appId);
  parts.alerts = std::make_shared<SystemAlertPresenter>();
  parts.browser = makeSystemBrowserOpener();
  parts.randomBytes = randomBytes;
  parts.deviceName = localDeviceName;
  parts.deviceFingerprint = [appId] { return localDeviceFingerprint(appId); };
  return parts;
}

AuthService& AuthService::shared() {
  static AuthService* const instance = [] {
    auto* service = new AuthService(systemParts());
    // Made wherever it was first used, it belongs to the main thread, and
    // goes with the application object (which stops its thread cleanly).
    service->moveToThread(QCoreApplication::instance()->thread());
    service->setParent(QCoreApplication::instance());
    return service;
  }();
  return *instance;
}

AuthService::AuthService(Parts parts)
    : webBaseURL_(std::move(parts.webBaseURL)),
      urlScheme_(std::move(parts.urlScheme)),
      tokenStore_(std::move(parts.tokenStore)),
      alerts_(std::move(parts.alerts)),
      browser_(std::move(parts.browser)),
      randomBytes_(std::move(parts.randomBytes)),
      deviceName_(std::move(parts.deviceName)),
      deviceFingerprint_(std::move(parts.deviceFingerprint)) {
  cachedToken_ = tokenStore_->loadToken();
  // An opener that catches the callback itself (the macOS sheet) brings it
  // here; on Linux it arrives through the single-instance channel instead.
  if (browser_) {
    browser_->onCallback = [this](const std::string& url) { handleCallback(url); };
    browser_->onFailure = [this](const BrowserError& error) {
      showAuthError(SignInError::browserFailed(error.description));
    };
  }
}

AuthService::~AuthService() = default;

std::optional<std::string> AuthService::cachedToken() const {
  std::lock_guard lock(tokenMutex_);
  return cachedToken_;
}

void AuthService::signIn() {
  Q_ASSERT(QThread::currentThread() == thread());
  const PairingSecrets secrets = makePairingSecrets(randomBytes_(kVerifierBytes), randomBytes_(kStateBytes));
  pendingVerifier_ = secrets.verifier;
  pendingState_ = secrets.state;
  const std::string url = pairingURL(
      webBaseURL_,
      PairingRequest{secrets.challenge, secrets.state, deviceName_(), localPlatformName(), urlScheme_});
  // A browser that cannot be reached is the Linux form of a failed browser
  // session: the pending pair stays, the next signIn replaces it.
  if (const auto error = browser_->open(url)) showAuthError(SignInError::browserFailed(error->description));
}

void AuthService::signOut() {
  Q_ASSERT(QThread::currentThread() == thread());
  {
    std::lock_guard lock(tokenMutex_);
    cachedToken_.reset();
  }
  tokenStore_->deleteToken();
  postToMainThread(self_, [](AuthService& service) {
    if (service.onSignInChange) service.onSignInChange();
  });
}

void AuthService::handleCallback(const std::string& url) {
  Q_ASSERT(QThread::currentThread() == thread());
  const auto callback = parsePairingCallback(url, urlScheme_);
  if (!callback) return;
  switch (checkCallbackState(callback->state, pendingState_, pendingVerifier_)) {
    case CallbackCheck::noPairingInProgress:
      return showAuthError(SignInError::noPairingInProgress());
    case CallbackCheck::stateMismatch:
      return showAuthError(SignInError::stateMismatch());
    case CallbackCheck::accepted:
      break;
  }
  const std::string verifier = *pendingVerifier_;
  pendingState_.reset();
  pendingVerifier_.reset();
  exchangeCode(callback->code, verifier);
}

std::optional<SignInError> AuthService::signInWithToken(const std::string& token) {
  if (const auto error = tokenStore_->saveToken(token))
    return SignInError::tokenNotSaved(error->description());
  adoptToken(token);
  return std::nullopt;
}

void AuthService::exchangeCode(const std::string& code, const std::string& verifier) {
  exchanging_ = true;
  const std::optional<std::string> body = exchangeRequestBody(code, verifier, deviceFingerprint_());
  const QUrl url(QString::fromStdString(exchangeURL(webBaseURL_)));
  // On the exchange thread, which the service joins before it goes: `this`
  // holds there.
  exchangeWorker_.post([this, url, body] {
    if (!network_) network_ = new QNetworkAccessManager(exchangeWorker_.context());
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    request.setTransferTimeout(kExchangeTimeoutMs);
    QNetworkReply* reply = network_->post(request, body ? QByteArray::fromStdString(*body) : QByteArray());
    connect(reply, &QNetworkReply::finished, exchangeWorker_.context(), [this, reply] {
      reply->deleteLater();
      const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
      if (!status.isValid()) return finishExchange(std::nullopt, {}, reply->errorString().toStdString());
      finishExchange(status.toInt(), reply->readAll().toStdString(), {});
    });
  });
}

void AuthService::finishExchange(std::optional<int> httpStatus, const std::string& body,
                                 const std::string& transportError) {
  if (!httpStatus) {
    showAuthError(SignInError::exchangeFailed(transportError));
  } else {
    const auto outcome = readExchangeReply(*httpStatus, body);
    if (const auto* error = std::get_if<SignInError>(&outcome)) {
      showAuthError(*error);
    } else {
      const std::string& token = std::get<std::string>(outcome);
      if (const auto saveError = tokenStore_->saveToken(token)) {
        showAuthError(SignInError::tokenNotSaved(saveError->description()));
      } else {
        postToMainThread(self_, [token](AuthService& service) { service.adoptToken(token); });
      }
    }
  }
  postToMainThread(self_, [](AuthService& service) { service.exchanging_ = false; });
}

void AuthService::adoptToken(const std::string& token) {
  {
    std::lock_guard lock(tokenMutex_);
    cachedToken_ = token;
  }
  if (onSignInChange) onSignInChange();
}

void AuthService::showAuthError(const SignInError& error) {
  postToMainThread(self_, [text = error.description()](AuthService& service) {
    if (service.alerts_) service.alerts_->showAlert(text);
  });
}

}  // namespace pellum
