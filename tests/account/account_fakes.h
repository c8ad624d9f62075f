#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "account/alert_presenter.h"
#include "account/browser_opener.h"
#include "account/token_store.h"

namespace pellum::test {

// Records every alert instead of showing it.
class RecordingAlertPresenter final : public AlertPresenter {
 public:
  void showAlert(const std::string& message) override { alerts.push_back(message); }
  std::vector<std::string> alerts;
};

// Records the pages it was asked to open; fails when told to.
class RecordingBrowserOpener final : public BrowserOpener {
 public:
  std::optional<BrowserError> open(const std::string& url) override {
    urls.push_back(url);
    return failure;
  }
  std::vector<std::string> urls;
  std::optional<BrowserError> failure;
};

// An in-memory token store that counts its calls and can refuse saves.
// Saves arrive on the sign-in thread, hence the lock.
class MemoryTokenStore final : public TokenStore {
 public:
  explicit MemoryTokenStore(std::optional<std::string> initial = std::nullopt) : token_(std::move(initial)) {}

  std::optional<std::string> loadToken() override {
    std::lock_guard lock(mutex_);
    return token_;
  }
  std::optional<KeychainError> saveToken(const std::string& token) override {
    std::lock_guard lock(mutex_);
    ++saves_;
    token_.reset();
    if (refusal_) return refusal_;
    token_ = token;
    return std::nullopt;
  }
  void deleteToken() override {
    std::lock_guard lock(mutex_);
    ++deletes_;
    token_.reset();
  }

  void refuseSaves(KeychainError error) {
    std::lock_guard lock(mutex_);
    refusal_ = std::move(error);
  }
  int saves() const {
    std::lock_guard lock(mutex_);
    return saves_;
  }
  int deletes() const {
    std::lock_guard lock(mutex_);
    return deletes_;
  }

 private:
  mutable std::mutex mutex_;
  std::optional<std::string> token_;
  std::optional<KeychainError> refusal_;
  int saves_ = 0;
  int deletes_ = 0;
};

}  // namespace pellum::test
