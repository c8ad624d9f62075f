#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <functional>
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
// the keychain answered. QtKeychain's jobs are asynchronous and bound to
// the thread that runs them, so every job runs on the store's own
// "pellum.keychain" thread; calling from that thread would deadlock and is
// asserted against.
class KeychainTokenStore final : public TokenStore {
 public:
  explicit KeychainTokenStore(std::string appId);
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
  // Runs the job `make` builds on the keychain thread and waits for it.
  Outcome run(const std::function<QKeychain::Job*(QObject* parent)>& make);

  std::string service_;
};

}  // namespace pellum
