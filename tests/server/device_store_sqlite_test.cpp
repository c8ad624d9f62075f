// What only the single-server store does: one SQLite file, checked for
// damage when opened, failing whole transactions when the disk is full.
#include "device_store.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sqlite3.h>
#include <sys/resource.h>

#include <fstream>

#include "base/crypto.h"
#include "store_fixture.h"

namespace pellum::server {
namespace {

using test::kVerifier;

class ServerSqliteDeviceStoreTest : public test::StoreTest {};

TEST_P(ServerSqliteDeviceStoreTest, TokensAreRandomAndStoredOnlyAsHashes) {
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

TEST_P(ServerSqliteDeviceStoreTest, StoreUsesWriteAheadLogging) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open((dir.path() + "/data/devices.sqlite3").c_str(), &db), SQLITE_OK);
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(db, "PRAGMA journal_mode", -1, &statement, nullptr);
  ASSERT_EQ(sqlite3_step(statement), SQLITE_ROW);
  EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)), "wal");
  sqlite3_finalize(statement);
  sqlite3_close(db);
}

// No file may grow while it lives, as on a full disk or over a quota. In
// write-ahead mode SQLite writes a transaction's pages at COMMIT, so that is
// where the failure lands.
class NoFileGrowth {
 public:
  NoFileGrowth() {
    previousHandler_ = signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &previous_);
    rlimit none = previous_;
    none.rlim_cur = 0;
    setrlimit(RLIMIT_FSIZE, &none);
  }
  ~NoFileGrowth() {
    setrlimit(RLIMIT_FSIZE, &previous_);
    signal(SIGXFSZ, previousHandler_);
  }

 private:
  rlimit previous_{};
  sighandler_t previousHandler_{};
};

TEST_P(ServerSqliteDeviceStoreTest, ExchangeWhoseCommitFailsHandsOutNoToken) {
  const auto pairing = code();
  {
    NoFileGrowth full;
    const auto result = store->exchange(pairing, kVerifier, "machine-1");
    ASSERT_TRUE(std::holds_alternative<ExchangeError>(result));
    EXPECT_EQ(std::get<ExchangeError>(result), ExchangeError::storeFailed);
  }
  EXPECT_TRUE(store->devices().empty());
  // Nothing of the failed attempt stuck, the code included.
  store = openStore();
  EXPECT_TRUE(store->devices().empty());
  const auto retried = store->exchange(pairing, kVerifier, "machine-1");
  ASSERT_TRUE(std::holds_alternative<std::string>(retried));
  EXPECT_TRUE(store->authenticate(std::get<std::string>(retried)).has_value());
}

TEST_P(ServerSqliteDeviceStoreTest, RefusalWhoseCommitFailsIsAStoreFailure) {
  const auto pairing = code();
  std::string wrong(kVerifier);
  wrong.front() = 'X';
  {
    NoFileGrowth full;
    EXPECT_EQ(std::get<ExchangeError>(store->exchange(pairing, wrong, "")), ExchangeError::storeFailed);
  }
  EXPECT_EQ(std::get<ExchangeError>(store->exchange(pairing, wrong, "")), ExchangeError::verifierMismatch);
}

INSTANTIATE_TEST_SUITE_P(Sqlite, ServerSqliteDeviceStoreTest, ::testing::Values(test::StoreKind::sqlite),
                         test::storeKindName);

class ServerDamagedDeviceStoreTest : public ::testing::Test {
 protected:
  std::string path() const { return dir.path() + "/devices.sqlite3"; }
  std::string open() {
    auto opened = openDeviceStore({"", dir.path()});
    auto* error = std::get_if<StoreError>(&opened);
    return error ? error->description : std::string();
  }
  std::string contents() const {
    std::ifstream in(path(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  void overwrite(std::size_t offset, const std::string& bytes) {
    std::fstream file(path(), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(offset));
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }
  test::TempDir dir;
};

TEST_F(ServerDamagedDeviceStoreTest, FileThatIsNotADatabaseIsRefusedAndKept) {
  std::ofstream(path(), std::ios::binary) << std::string(8192, 'x');
  const std::string error = open();
  EXPECT_NE(error.find("the device store " + path() + " is damaged ("), std::string::npos) << error;
  EXPECT_NE(error.find("move it away to start afresh"), std::string::npos) << error;
  EXPECT_EQ(contents(), std::string(8192, 'x'));
}

TEST_F(ServerDamagedDeviceStoreTest, DatabaseWithADamagedTableIsRefused) {
  {
    auto opened = openDeviceStore({"", dir.path()});
    auto& store = *std::get<std::unique_ptr<DeviceStore>>(opened);
    for (int i = 0; i < 200; ++i) store.addDevice("device " + std::to_string(i), "manual", "");
  }  // the last close checkpoints the log into the file
  std::string file = contents();
  ASSERT_GT(file.size(), 4u * 4096);
  // The cell pointers and cells of a table page in the middle: its header
  // (the page type) stays valid, so the file still opens.
  overwrite(2 * 4096 + 12, std::string(3000, '\xff'));
  const std::string error = open();
  EXPECT_NE(error.find("is damaged ("), std::string::npos) << error;
}

TEST_F(ServerDamagedDeviceStoreTest, OlderStoreGetsTheTokenIndex) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(path().c_str(), &db), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(
                db,
                "CREATE TABLE devices (id INTEGER PRIMARY KEY, name TEXT NOT NULL, platform TEXT NOT NULL, "
                "fingerprint TEXT NOT NULL DEFAULT '', token_hash BLOB NOT NULL, created INTEGER NOT NULL, "
                "last_seen INTEGER NOT NULL DEFAULT 0, revoked INTEGER NOT NULL DEFAULT 0);",
                nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(
      db, "INSERT INTO devices (name, platform, token_hash, created) VALUES ('Old', 'linux', ?, 1)", -1,
      &insert, nullptr);
  const std::string hash = sha256("old-token");
  sqlite3_bind_blob(insert, 1, hash.data(), static_cast<int>(hash.size()), SQLITE_TRANSIENT);
  ASSERT_EQ(sqlite3_step(insert), SQLITE_DONE);
  sqlite3_finalize(insert);
  sqlite3_close(db);

  auto opened = openDeviceStore({"", dir.path()});
  ASSERT_TRUE(std::holds_alternative<std::unique_ptr<DeviceStore>>(opened));
  auto& store = *std::get<std::unique_ptr<DeviceStore>>(opened);
  ASSERT_TRUE(store.authenticate("old-token").has_value());
  EXPECT_EQ(store.authenticate("old-token")->name, "Old");

  ASSERT_EQ(sqlite3_open(path().c_str(), &db), SQLITE_OK);
  sqlite3_stmt* query = nullptr;
  sqlite3_prepare_v2(db,
                     "SELECT sql FROM sqlite_master WHERE type = 'index' AND tbl_name = 'devices' AND sql "
                     "LIKE '%UNIQUE%token_hash%'",
                     -1, &query, nullptr);
  EXPECT_EQ(sqlite3_step(query), SQLITE_ROW);
  sqlite3_finalize(query);
  sqlite3_prepare_v2(db, "PRAGMA user_version", -1, &query, nullptr);
  ASSERT_EQ(sqlite3_step(query), SQLITE_ROW);
  EXPECT_GE(sqlite3_column_int(query, 0), 1);
  sqlite3_finalize(query);
  sqlite3_close(db);
}

}  // namespace
}  // namespace pellum::server
