#pragma once

#include <string>

#include "temp_dir.h"

namespace pellum::server::test {

// A real PostgreSQL server of the test's own: a cluster made by initdb in a
// temporary directory and started by pg_ctl, listening only on a unix
// socket in that directory, as the unprivileged user "nobody" when the test
// runs as root (PostgreSQL refuses to run as root). Trust authentication for
// the superuser "pellum". Stopped, and its files removed, when the object
// goes.
class PostgresServer {
 public:
  PostgresServer();
  ~PostgresServer();
  PostgresServer(const PostgresServer&) = delete;
  PostgresServer& operator=(const PostgresServer&) = delete;

  bool started() const { return failure_.empty(); }
  // What went wrong starting it, for a test's skip or failure message.
  const std::string& failure() const { return failure_; }

  // A new, empty database; its connection URL.
  std::string createDatabase();
  // The connection URL of `database`.
  std::string url(const std::string& database) const;

  // pg_ctl stop (fast) and start again on the same files, as an
  // administrator's restart would.
  bool stop();
  bool start();

 private:
  bool pgCtl(const std::string& action);

  TempDir dir_;
  std::string binDir_;
  std::string failure_;
  int databases_ = 0;
  bool running_ = false;
};

}  // namespace pellum::server::test
