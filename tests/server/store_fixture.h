#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

#include "device_store.h"
#include "postgres_server.h"
#include "temp_dir.h"

namespace pellum::server::test {

// RFC 7636, Appendix B.
constexpr std::string_view kVerifier = "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk";
constexpr std::string_view kChallenge = "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM";

// One PostgreSQL server for the whole test program: starting one takes a
// second or two, a fresh database per test a few milliseconds.
inline PostgresServer& sharedPostgres() {
  static PostgresServer server;
  return server;
}

enum class StoreKind { sqlite, postgresql };

inline std::string storeKindName(const ::testing::TestParamInfo<StoreKind>& info) {
  return info.param == StoreKind::sqlite ? "Sqlite" : "Postgresql";
}

// A fresh store of the test's kind, with a clock the test moves.
class StoreTest : public ::testing::TestWithParam<StoreKind> {
 protected:
  void SetUp() override {
    if (GetParam() == StoreKind::postgresql) {
      ASSERT_TRUE(sharedPostgres().started()) << sharedPostgres().failure();
      location.url = sharedPostgres().createDatabase();
      ASSERT_FALSE(location.url.empty()) << sharedPostgres().failure();
    } else {
      location.dataDir = dir.path() + "/data";
    }
    store = openStore();
  }

  // Another server's view of the same store.
  std::unique_ptr<DeviceStore> openStore() {
    auto opened = openDeviceStore(location, [this] { return now; });
    if (auto* error = std::get_if<StoreError>(&opened)) ADD_FAILURE() << error->description;
    auto* made = std::get_if<std::unique_ptr<DeviceStore>>(&opened);
    return made ? std::move(*made) : nullptr;
  }

  std::string code(DeviceStore& on) {
    return std::get<std::string>(on.createPairingCode({std::string(kChallenge), "Laptop", "linux"}));
  }
  std::string code() { return code(*store); }

  TempDir dir;
  StoreLocation location;
  std::int64_t now = 1'700'000'000;
  std::unique_ptr<DeviceStore> store;
};

}  // namespace pellum::server::test
