// The behaviour every device store owes the server, run against the SQLite
// file and a real PostgreSQL server alike; "another server" is a second
// store opened on the same location, as a second replica would.
#include "device_store.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "store_fixture.h"

namespace pellum::server {
namespace {

using test::kChallenge;
using test::kVerifier;
using test::StoreKind;

class ServerDeviceStoreTest : public test::StoreTest {};

TEST_P(ServerDeviceStoreTest, AddedDeviceAuthenticatesWithItsToken) {
  const auto token = std::get<std::string>(store->addDevice("Desk", "manual", ""));
  EXPECT_EQ(token.size(), 43u);
  now += 10;
  const auto device = store->authenticate(token);
  ASSERT_TRUE(device.has_value());
  EXPECT_EQ(device->name, "Desk");
  EXPECT_EQ(device->lastSeen, now);
  EXPECT_EQ(store->devices().front().lastSeen, now);
  EXPECT_FALSE(store->authenticate(token + "x").has_value());
  EXPECT_FALSE(store->authenticate("").has_value());
}

TEST_P(ServerDeviceStoreTest, RevokedDeviceNoLongerAuthenticates) {
  const auto token = std::get<std::string>(store->addDevice("Desk", "manual", ""));
  const auto id = store->authenticate(token)->id;
  EXPECT_TRUE(store->revoke(id));
  EXPECT_FALSE(store->authenticate(token).has_value());
  EXPECT_TRUE(store->devices().front().revoked);
  EXPECT_FALSE(store->revoke(id + 100));
}

TEST_P(ServerDeviceStoreTest, DevicesSurviveReopening) {
  const auto token = std::get<std::string>(store->addDevice("Desk", "manual", "fp"));
  store = openStore();
  ASSERT_EQ(store->devices().size(), 1u);
  EXPECT_EQ(store->devices().front().fingerprint, "fp");
  EXPECT_TRUE(store->authenticate(token).has_value());
}

TEST_P(ServerDeviceStoreTest, CodeExchangesOnceForAWorkingToken) {
  const auto pairing = code();
  auto token = store->exchange(pairing, kVerifier, "machine-1");
  ASSERT_TRUE(std::holds_alternative<std::string>(token));
  const auto device = store->authenticate(std::get<std::string>(token));
  ASSERT_TRUE(device.has_value());
  EXPECT_EQ(device->name, "Laptop");
  EXPECT_EQ(device->platform, "linux");
  EXPECT_EQ(device->fingerprint, "machine-1");
  EXPECT_EQ(std::get<ExchangeError>(store->exchange(pairing, kVerifier, "")), ExchangeError::codeUsed);
}

TEST_P(ServerDeviceStoreTest, UnknownCodeIsRefused) {
  EXPECT_EQ(std::get<ExchangeError>(store->exchange("nope", kVerifier, "")), ExchangeError::unknownCode);
}

TEST_P(ServerDeviceStoreTest, WrongVerifierUsesTheCodeUp) {
  const auto pairing = code();
  std::string wrong(kVerifier);
  wrong.front() = 'X';
  EXPECT_EQ(std::get<ExchangeError>(store->exchange(pairing, wrong, "")), ExchangeError::verifierMismatch);
  EXPECT_EQ(std::get<ExchangeError>(store->exchange(pairing, kVerifier, "")), ExchangeError::codeUsed);
  EXPECT_TRUE(store->devices().empty());
}

TEST_P(ServerDeviceStoreTest, CodeExpiresAfterFiveMinutes) {
  const auto fresh = code();
  const auto stale = code();
  now += DeviceStore::kCodeLifetimeSeconds;
  EXPECT_TRUE(std::holds_alternative<std::string>(store->exchange(fresh, kVerifier, "")));
  now += 1;
  EXPECT_EQ(std::get<ExchangeError>(store->exchange(stale, kVerifier, "")), ExchangeError::codeExpired);
}

TEST_P(ServerDeviceStoreTest, ReadableStoreIsReachable) { EXPECT_EQ(store->unreachable(), std::nullopt); }

TEST_P(ServerDeviceStoreTest, CodeMadeByOneServerIsTradedByAnother) {
  auto other = openStore();
  ASSERT_NE(other, nullptr);
  const auto pairing = code(*store);
  auto token = other->exchange(pairing, kVerifier, "machine-1");
  ASSERT_TRUE(std::holds_alternative<std::string>(token));
  EXPECT_TRUE(store->authenticate(std::get<std::string>(token)).has_value());
  EXPECT_EQ(std::get<ExchangeError>(store->exchange(pairing, kVerifier, "")), ExchangeError::codeUsed);
}

TEST_P(ServerDeviceStoreTest, RevocationOnOneServerHoldsOnAnotherAtOnce) {
  auto other = openStore();
  ASSERT_NE(other, nullptr);
  const auto token = std::get<std::string>(store->addDevice("Desk", "manual", ""));
  ASSERT_TRUE(other->authenticate(token).has_value());
  EXPECT_TRUE(store->revoke(store->devices().front().id));
  EXPECT_FALSE(other->authenticate(token).has_value());
}

TEST_P(ServerDeviceStoreTest, CodeTradedByTwoServersAtOnceGivesOneToken) {
  constexpr int kServers = 4;
  std::vector<std::unique_ptr<DeviceStore>> servers;
  for (int i = 0; i < kServers; ++i) servers.push_back(openStore());
  for (int round = 0; round < 5; ++round) {
    const auto pairing = code();
    std::atomic<int> tokens{0}, used{0};
    std::vector<std::thread> threads;
    for (auto& server : servers) {
      threads.emplace_back([&, server = server.get()] {
        const auto result = server->exchange(pairing, kVerifier, "");
        if (std::holds_alternative<std::string>(result)) ++tokens;
        if (result == decltype(result)(ExchangeError::codeUsed)) ++used;
      });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(tokens, 1) << "round " << round;
    EXPECT_EQ(used, kServers - 1) << "round " << round;
  }
  EXPECT_EQ(store->devices().size(), 5u);
}

TEST_P(ServerDeviceStoreTest, FormSecretIsLongAndRandom) {
  const auto secret = std::get<std::string>(store->formSecret());
  EXPECT_GE(secret.size(), 43u);
  EXPECT_EQ(std::get<std::string>(store->formSecret()), secret);
}

INSTANTIATE_TEST_SUITE_P(Stores, ServerDeviceStoreTest,
                         ::testing::Values(StoreKind::sqlite, StoreKind::postgresql), test::storeKindName);

TEST(ServerExchangeErrorTest, EveryErrorHasADescription) {
  for (auto error : {ExchangeError::unknownCode, ExchangeError::codeUsed, ExchangeError::codeExpired,
                     ExchangeError::verifierMismatch, ExchangeError::storeFailed}) {
    EXPECT_FALSE(describe(error).empty());
  }
}

}  // namespace
}  // namespace pellum::server
