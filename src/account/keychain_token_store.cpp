#include "account/keychain_token_store.h"

#include <qt6keychain/keychain.h>

#include <QCoreApplication>
#include <QThread>

#include <future>

#include "account/token_item.h"

namespace pellum {
namespace {

QString qt(const std::string& text) { return QString::fromStdString(text); }

QThread* keychainThread = nullptr;

void stopKeychainThread() {
  keychainThread->quit();
  keychainThread->wait();
}

// An object living on the keychain thread, which starts on first use.
QObject* keychainContext() {
  static QObject* const context = [] {
    keychainThread = new QThread;
    keychainThread->setObjectName(QStringLiteral("pellum.keychain"));
    auto* object = new QObject;
    object->moveToThread(keychainThread);
    QObject::connect(keychainThread, &QThread::finished, object, &QObject::deleteLater);
    keychainThread->start();
    qAddPostRoutine(stopKeychainThread);
    return object;
  }();
  return context;
}

}  // namespace

KeychainTokenStore::KeychainTokenStore(std::string appId) : service_(tokenService(appId)) {}

KeychainTokenStore::~KeychainTokenStore() = default;

KeychainTokenStore::Outcome KeychainTokenStore::run(
    const std::function<QKeychain::Job*(QObject* parent)>& make) {
  QObject* context = keychainContext();
  Q_ASSERT(QThread::currentThread() != context->thread());
  std::promise<Outcome> promise;
  std::future<Outcome> outcome = promise.get_future();
  QMetaObject::invokeMethod(
      context,
      [&] {
        QKeychain::Job* job = make(context);
        job->setAutoDelete(false);
        job->setInsecureFallback(false);
        job->setKey(qt(std::string(kTokenAccount)));
        QObject::connect(job, &QKeychain::Job::finished, context, [&promise, job] {
          Outcome result{static_cast<int>(job->error()), job->errorString(), {}};
          if (auto* read = qobject_cast<QKeychain::ReadPasswordJob*>(job))
            result.data = read->textData().toUtf8();
          job->deleteLater();
          promise.set_value(std::move(result));
        });
        job->start();
      },
      Qt::QueuedConnection);
  return outcome.get();
}

std::optional<std::string> KeychainTokenStore::loadToken() {
  const Outcome outcome =
      run([this](QObject* parent) { return new QKeychain::ReadPasswordJob(qt(service_), parent); });
  if (outcome.error != QKeychain::NoError) return std::nullopt;
  return outcome.data.toStdString();
}

std::optional<KeychainError> KeychainTokenStore::saveToken(const std::string& token) {
  deleteToken();  // a missing item is normal
  const Outcome outcome = run([this, &token](QObject* parent) {
    auto* job = new QKeychain::WritePasswordJob(qt(service_), parent);
    job->setTextData(qt(token));
    return job;
  });
  if (outcome.error == QKeychain::NoError) return std::nullopt;
  return KeychainError{outcome.error, outcome.errorString.toStdString()};
}

void KeychainTokenStore::deleteToken() {
  run([this](QObject* parent) { return new QKeychain::DeletePasswordJob(qt(service_), parent); });
}

}  // namespace pellum
