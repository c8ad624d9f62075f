#include "account/keychain_token_store.h"

#include <qt6keychain/keychain.h>

#include <QCoreApplication>
#include <QThread>
#include <cstdio>
#include <future>
#include <memory>
#include <mutex>
#include <utility>

#include "account/token_item.h"
#include "base/log_line.h"
#include "base/threads.h"

namespace pellum {
namespace {

QString qt(const std::string& text) { return QString::fromStdString(text); }

// QtKeychain's job queue is bound to the thread that first used it, so
// every job of the process runs on this one worker, started on first use
// and stopped with the application.
std::mutex keychainLock;
WorkerThread* keychainWorker = nullptr;  // under keychainLock

void stopKeychainWorker() {
  std::lock_guard lock(keychainLock);
  delete std::exchange(keychainWorker, nullptr);
}

// Callable from any thread.
WorkerThread& keychainThread() {
  std::lock_guard lock(keychainLock);
  if (!keychainWorker) {
    keychainWorker = new WorkerThread(QStringLiteral("pellum.keychain"));
    qAddPostRoutine(stopKeychainWorker);
  }
  return *keychainWorker;
}

}  // namespace

KeychainTokenStore::KeychainTokenStore(std::string appId, std::chrono::milliseconds answerDeadline)
    : service_(tokenService(appId)), answerDeadline_(answerDeadline) {}

KeychainTokenStore::~KeychainTokenStore() = default;

std::optional<KeychainTokenStore::Outcome> KeychainTokenStore::run(
    std::function<QKeychain::Job*(QObject* parent)> make) {
  WorkerThread& worker = keychainThread();
  Q_ASSERT(!worker.isCurrent());
  QObject* context = worker.context();
  // Shared with the job, which may finish long after a wait that gave up.
  auto promise = std::make_shared<std::promise<Outcome>>();
  std::future<Outcome> outcome = promise->get_future();
  worker.post([context, promise, make = std::move(make)] {
    QKeychain::Job* job = make(context);
    job->setAutoDelete(false);
    job->setInsecureFallback(false);
    job->setKey(qt(std::string(kTokenAccount)));
    QObject::connect(job, &QKeychain::Job::finished, context, [promise, job] {
      Outcome result{static_cast<int>(job->error()), job->errorString(), {}};
      if (auto* read = qobject_cast<QKeychain::ReadPasswordJob*>(job))
        result.data = read->textData().toUtf8();
      job->deleteLater();
      promise->set_value(std::move(result));
    });
    job->start();
  });
  if (outcome.wait_for(answerDeadline_) != std::future_status::ready) {
    printLine(stderr, "KeychainTokenStore: the keyring did not answer within " + deadlineText());
    return std::nullopt;
  }
  return outcome.get();
}

std::string KeychainTokenStore::deadlineText() const {
  if (answerDeadline_.count() % 1000 == 0) return std::to_string(answerDeadline_.count() / 1000) + " s";
  return std::to_string(answerDeadline_.count()) + " ms";
}

std::optional<std::string> KeychainTokenStore::loadToken() {
  const auto outcome = run(
      [service = qt(service_)](QObject* parent) { return new QKeychain::ReadPasswordJob(service, parent); });
  if (!outcome || outcome->error != QKeychain::NoError) return std::nullopt;
  return outcome->data.toStdString();
}

std::optional<KeychainError> KeychainTokenStore::saveToken(const std::string& token) {
  const KeychainError unanswered{QKeychain::OtherError,
                                 "the keyring did not answer within " + deadlineText()};
  // A missing item is normal; a keyring that does not answer would only
  // queue the write behind the delete.
  if (!deleteItem()) return unanswered;
  const auto outcome = run([service = qt(service_), text = qt(token)](QObject* parent) {
    auto* job = new QKeychain::WritePasswordJob(service, parent);
    job->setTextData(text);
    return job;
  });
  if (!outcome) return unanswered;
  if (outcome->error == QKeychain::NoError) return std::nullopt;
  return KeychainError{outcome->error, outcome->errorString.toStdString()};
}

void KeychainTokenStore::deleteToken() { deleteItem(); }

bool KeychainTokenStore::deleteItem() {
  return run([service = qt(service_)](QObject* parent) {
           return new QKeychain::DeletePasswordJob(service, parent);
         })
      .has_value();
}

}  // namespace pellum
