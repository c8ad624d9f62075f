#include "store_url.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

TEST(StoreUrlTest, PostgresqlUrlsAndTheDefaultAreStores) {
  EXPECT_TRUE(isStoreUrl(""));
  EXPECT_TRUE(isStoreUrl("postgresql://pellum@db/pellum"));
  EXPECT_TRUE(isStoreUrl("postgres:///pellum?host=/run/postgresql"));
  EXPECT_FALSE(isStoreUrl("sqlite:///var/lib/pellum"));
  EXPECT_FALSE(isStoreUrl("host=db dbname=pellum"));
}

TEST(StoreUrlTest, PasswordsAreHidden) {
  EXPECT_EQ(withoutPassword("postgresql://pellum:s3cret@db:5432/pellum"),
            "postgresql://pellum:***@db:5432/pellum");
  EXPECT_EQ(
      withoutPassword("postgresql://pellum@db/pellum?sslmode=require&password=s3cret&connect_timeout=2"),
      "postgresql://pellum@db/pellum?sslmode=require&password=***&connect_timeout=2");
  EXPECT_EQ(withoutPassword("postgresql:///pellum?password=a&password=b"),
            "postgresql:///pellum?password=***&password=***");
  EXPECT_EQ(withoutPassword("postgresql://db/pellum"), "postgresql://db/pellum");
  // A colon after the host is its port, not a password.
  EXPECT_EQ(withoutPassword("postgresql://db:5432/pellum"), "postgresql://db:5432/pellum");
  EXPECT_EQ(withoutPassword("not a url"), "not a url");
}

}  // namespace
}  // namespace pellum::server
