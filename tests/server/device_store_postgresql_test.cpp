// What only the shared store does: a schema it creates and upgrades itself,
// servers starting together, a database that restarts under it, and errors
// that never show a password.
#include <gtest/gtest.h>
#include <libpq-fe.h>

#include <thread>

#include "base/crypto.h"
#include "device_store.h"
#include "device_store_postgresql.h"
#include "store_fixture.h"

namespace pellum::server {
namespace {

using test::StoreKind;

// Runs one statement on `url` and returns the first column of each row.
std::vector<std::string> query(const std::string& url, const std::string& sql) {
  PGconn* connection = PQconnectdb(url.c_str());
  PGresult* result = PQexec(connection, sql.c_str());
  std::vector<std::string> rows;
  if (PQresultStatus(result) == PGRES_TUPLES_OK) {
    for (int row = 0; row < PQntuples(result); ++row) rows.emplace_back(PQgetvalue(result, row, 0));
  } else if (PQresultStatus(result) != PGRES_COMMAND_OK) {
    ADD_FAILURE() << sql << ": " << PQerrorMessage(connection);
  }
  PQclear(result);
  PQfinish(connection);
  return rows;
}

class ServerPostgresDeviceStoreTest : public test::StoreTest {};

TEST_P(ServerPostgresDeviceStoreTest, SchemaVersionIsRecorded) {
  EXPECT_EQ(query(location.url, "SELECT version FROM schema_migrations ORDER BY version"),
            std::vector<std::string>{std::to_string(PostgresDeviceStore::latestSchemaVersion())});
  // Opening again applies nothing twice.
  store = openStore();
  EXPECT_EQ(query(location.url, "SELECT count(*) FROM schema_migrations"), std::vector<std::string>{"1"});
}

TEST_P(ServerPostgresDeviceStoreTest, TokensAreStoredOnlyAsHashes) {
  const auto token = std::get<std::string>(store->addDevice("Desk", "manual", ""));
  const auto hashes = query(location.url, "SELECT encode(token_hash, 'hex') FROM devices");
  ASSERT_EQ(hashes.size(), 1u);
  std::string expected;
  for (unsigned char byte : sha256(token)) {
    static constexpr char kHex[] = "0123456789abcdef";
    expected += kHex[byte >> 4];
    expected += kHex[byte & 15];
  }
  EXPECT_EQ(hashes.front(), expected);
  const auto rows =
      query(location.url,
            "SELECT count(*) FROM devices WHERE name || platform || fingerprint LIKE '%" + token + "%'");
  EXPECT_EQ(rows, std::vector<std::string>{"0"});
}

TEST_P(ServerPostgresDeviceStoreTest, ServersStartingTogetherSetUpTheSchemaOnce) {
  const std::string fresh = test::sharedPostgres().createDatabase();
  ASSERT_FALSE(fresh.empty());
  std::vector<std::thread> servers;
  std::vector<std::string> errors(4);
  for (std::size_t i = 0; i < errors.size(); ++i) {
    servers.emplace_back([&, i] {
      auto opened = openDeviceStore({fresh, ""});
      if (auto* error = std::get_if<StoreError>(&opened)) errors[i] = error->description;
    });
  }
  for (auto& server : servers) server.join();
  for (const auto& error : errors) EXPECT_EQ(error, "");
  EXPECT_EQ(query(fresh, "SELECT count(*) FROM schema_migrations"), std::vector<std::string>{"1"});
}

TEST_P(ServerPostgresDeviceStoreTest, SchemaFromANewerServerIsRefused) {
  store.reset();
  query(location.url, "INSERT INTO schema_migrations (version) VALUES (99)");
  auto opened = openDeviceStore(location);
  ASSERT_TRUE(std::holds_alternative<StoreError>(opened));
  const auto& error = std::get<StoreError>(opened).description;
  EXPECT_NE(error.find("newer than this pellum-server knows"), std::string::npos) << error;
}

TEST_P(ServerPostgresDeviceStoreTest, UnreachableServerIsAClearErrorWithoutThePassword) {
  auto opened = openDeviceStore({"postgresql://pellum:s3cret@/pellum?host=" + dir.path() + "/nowhere", ""});
  ASSERT_TRUE(std::holds_alternative<StoreError>(opened));
  const auto& error = std::get<StoreError>(opened).description;
  EXPECT_NE(error.find("cannot reach the device store at postgresql://pellum:***@/pellum"), std::string::npos)
      << error;
  EXPECT_EQ(error.find("s3cret"), std::string::npos) << error;
}

TEST_P(ServerPostgresDeviceStoreTest, RestartedDatabaseIsReconnectedWithoutLosingARequest) {
  const auto token = std::get<std::string>(store->addDevice("Desk", "manual", ""));
  ASSERT_TRUE(test::sharedPostgres().stop()) << test::sharedPostgres().failure();
  EXPECT_FALSE(store->authenticate(token).has_value());
  const auto down = store->unreachable();
  ASSERT_TRUE(down.has_value());
  EXPECT_FALSE(down->empty());
  ASSERT_TRUE(test::sharedPostgres().start()) << test::sharedPostgres().failure();
  // The first call after the restart finds its old connection gone and
  // makes a new one itself.
  EXPECT_TRUE(store->authenticate(token).has_value());
  EXPECT_EQ(store->unreachable(), std::nullopt);
}

TEST_P(ServerPostgresDeviceStoreTest, ConnectionClosedByTheDatabaseIsMadeAgain) {
  const auto token = std::get<std::string>(store->addDevice("Desk", "manual", ""));
  query(location.url,
        "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE application_name = 'pellum-server'");
  EXPECT_TRUE(store->authenticate(token).has_value());
}

TEST_P(ServerPostgresDeviceStoreTest, EveryServerOnTheStoreHasTheSameFormSecret) {
  auto other = openStore();
  ASSERT_NE(other, nullptr);
  const auto secret = std::get<std::string>(store->formSecret());
  EXPECT_EQ(std::get<std::string>(other->formSecret()), secret);
  // A different database is a different service.
  auto elsewhere = openDeviceStore({test::sharedPostgres().createDatabase(), ""});
  ASSERT_TRUE(std::holds_alternative<std::unique_ptr<DeviceStore>>(elsewhere));
  EXPECT_NE(std::get<std::string>(std::get<std::unique_ptr<DeviceStore>>(elsewhere)->formSecret()), secret);
}

INSTANTIATE_TEST_SUITE_P(Postgresql, ServerPostgresDeviceStoreTest, ::testing::Values(StoreKind::postgresql),
                         test::storeKindName);

}  // namespace
}  // namespace pellum::server
