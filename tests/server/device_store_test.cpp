#include "device_store.h"

#include <gtest/gtest.h>

#include <sqlite3.h>

#include "pkce.h"
#include "temp_dir.h"

namespace pellum::server {
namespace {

// RFC 7636, Appendix B.
constexpr std::string_view kVerifier = "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk";
constexpr std::string_view kChallenge = "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM";

class ServerDeviceStoreTest : public ::testing::Test {
 protected:
  void SetUp() override { store = openStore(); }

  std::unique_ptr<DeviceStore> openStore() {
    auto opened = DeviceStore::open(dir.path() + "/data", [this] { return now; });
    EXPECT_TRUE(std::holds_alternative<std::unique_ptr<DeviceStore>>(opened));
    return std::get<std::unique_ptr<DeviceStore>>(std::move(opened));
  }

  std::string code() {
    return std::get<std::string>(store->createPairingCode({std::string(kChallenge), "Laptop", "linux"}));
  }

  test::TempDir dir;
  std::int64_t now = 1'700'000'000;
  std::unique_ptr<DeviceStore> store;
};

TEST_F(ServerDeviceStoreTest, AddedDeviceAuthenticatesWithItsToken) {
  const auto token = std::get<std::string>(store->addDevice("Desk", "manual", ""));
  EXPECT_EQ(token.size(), 43u);
  now += 10;
  const auto device = store->authenticate(token);
  ASSERT_TRUE(device.has_value());
  EXPECT_EQ(device->name, "Desk");
  EXPECT_EQ(device->lastSeen, now);
  EXPECT_FALSE(store->authenticate(token + "x").has_value());
  EXPECT_FALSE(store->authenticate("").has_value());
}

TEST_F(ServerDeviceStoreTest, TokensAreRandomAndStoredOnlyAsHashes) {
  const auto first = std::get<std::string>(store->addDevice("A", "manual", ""));
  const auto second = std::get<std::string>(store->addDevice("B", "manual", ""));
  EXPECT_NE(first, second);
  store.reset();
  std::string file;
  {
    std::FILE* f = std::fopen((dir.path() + "/data/devices.sqlite3").c_str(), "rb");
    ASSERT_NE(f, nullptr);
    char buffer[4096];
    std::size_t n = 0;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) file.append(buffer, n);
    std::fclose(f);
  }
  EXPECT_EQ(file.find(first), std::string::npos);
  EXPECT_EQ(file.find(second), std::string::npos);
  EXPECT_NE(file.find(sha256(first)), std::string::npos);
}

TEST_F(ServerDeviceStoreTest, RevokedDeviceNoLongerAuthenticates) {
  const auto token = std::get<std::string>(store->addDevice("Desk", "manual", ""));
  const auto id = store->authenticate(token)->id;
  EXPECT_TRUE(store->revoke(id));
  EXPECT_FALSE(store->authenticate(token).has_value());
  EXPECT_TRUE(store->devices().front().revoked);
  EXPECT_FALSE(store->revoke(id + 100));
}

TEST_F(ServerDeviceStoreTest, DevicesSurviveReopening) {
  const auto token = std::get<std::string>(store->addDevice("Desk", "manual", "fp"));
  store = openStore();
  ASSERT_EQ(store->devices().size(), 1u);
  EXPECT_EQ(store->devices().front().fingerprint, "fp");
  EXPECT_TRUE(store->authenticate(token).has_value());
}

TEST_F(ServerDeviceStoreTest, CodeExchangesOnceForAWorkingToken) {
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

TEST_F(ServerDeviceStoreTest, UnknownCodeIsRefused) {
  EXPECT_EQ(std::get<ExchangeError>(store->exchange("nope", kVerifier, "")), ExchangeError::unknownCode);
}

TEST_F(ServerDeviceStoreTest, WrongVerifierUsesTheCodeUp) {
  const auto pairing = code();
  std::string wrong(kVerifier);
  wrong.front() = 'X';
  EXPECT_EQ(std::get<ExchangeError>(store->exchange(pairing, wrong, "")), ExchangeError::verifierMismatch);
  EXPECT_EQ(std::get<ExchangeError>(store->exchange(pairing, kVerifier, "")), ExchangeError::codeUsed);
  EXPECT_TRUE(store->devices().empty());
}

TEST_F(ServerDeviceStoreTest, CodeExpiresAfterFiveMinutes) {
  const auto fresh = code();
  const auto stale = code();
  now += DeviceStore::kCodeLifetimeSeconds;
  EXPECT_TRUE(std::holds_alternative<std::string>(store->exchange(fresh, kVerifier, "")));
  now += 1;
  EXPECT_EQ(std::get<ExchangeError>(store->exchange(stale, kVerifier, "")), ExchangeError::codeExpired);
}

TEST_F(ServerDeviceStoreTest, StoreUsesWriteAheadLogging) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open((dir.path() + "/data/devices.sqlite3").c_str(), &db), SQLITE_OK);
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(db, "PRAGMA journal_mode", -1, &statement, nullptr);
  ASSERT_EQ(sqlite3_step(statement), SQLITE_ROW);
  EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)), "wal");
  sqlite3_finalize(statement);
  sqlite3_close(db);
}

TEST(ServerExchangeErrorTest, EveryErrorHasADescription) {
  for (auto error : {ExchangeError::unknownCode, ExchangeError::codeUsed, ExchangeError::codeExpired,
                     ExchangeError::verifierMismatch, ExchangeError::storeFailed}) {
    EXPECT_FALSE(describe(error).empty());
  }
}

}  // namespace
}  // namespace pellum::server
