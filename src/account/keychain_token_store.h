#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "account/token_store.h"

namespace QKeychain {
class Job;
}

namespace pellum {

// The token store over the system keychain through QtKeychain: on Linux the
// Secret Service (gnome-keyring or KWallet) over D-Bus, in the user's
// default collection, which is encrypted at rest, unlocked only by the
// user's login and never synchronised anywhere. The item is a generic
// password with service `tokenService(appId)` and account "device_token";
// QtKeychain's plain-text fallback stays off, so the token is never written
// to a file.
//
// Thread contract: any thread may call the operations, and each blocks until
// the keychain answered or the answer deadline passed. QtKeychain's jobs are
// asynchronous and bound to the thread that runs them, so every job runs on
// the store's own "pellum.keychain" thread; calling from that thread would
// deadlock and is asserted against.
//
// A keyring that does not answer (an unlock prompt nobody sees, a hung
// daemon) must not freeze the caller, which is often the main thread: past
// the deadline the operation gives up with one log line on stderr, load
// yields nothing (signed out), save fails with a KeychainError and delete
// returns. The job itself stays queued and completes if the keyring answers
// later.
class KeychainTokenStore final : public TokenStore {
 public:
  // Long enough for a keyring that starts on demand, short enough that a
  // prompt nobody answers does not look like a hung program.
  static constexpr std::chrono::milliseconds kAnswerDeadline{10000};

  explicit KeychainTokenStore(std::string appId, std::chrono::milliseconds answerDeadline = kAnswerDeadline);
  ~KeychainTokenStore() override;
  KeychainTokenStore(const KeychainTokenStore&) = delete;
  KeychainTokenStore& operator=(const KeychainTokenStore&) = delete;

  const std::string& service() const { return service_; }

  std::optional<std::string> loadToken() override;
  [[nodiscard]] std::optional<KeychainError> saveToken(const std::string& token) override;
  void deleteToken() override;

 private:
  struct Outcome {
    int error = 0;  // QKeychain::Error
    QString errorString;
    QByteArray data;
  };
  // Runs the job `make` builds on the keychain thread and waits for it, at
  // most answerDeadline_; nothing when the keyring did not answer in time.
  // `make` runs on the keychain thread, possibly after this call returned.
  std::optional<Outcome> run(std::function<QKeychain::Job*(QObject* parent)> make);
  bool deleteItem();  // false when the keyring did not answer
  std::string deadlineText() const;

  std::string service_;
  std::chrono::milliseconds answerDeadline_;
};

}  // namespace pellum
