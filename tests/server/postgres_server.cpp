#include "postgres_server.h"

#include <libpq-fe.h>
#include <unistd.h>

#include <filesystem>

#include "server_process.h"

namespace pellum::server::test {
namespace {

constexpr uid_t kUnprivileged = 65534;  // "nobody" on Debian

// Debian installs each major version's programs under its own directory;
// the newest one found is used.
std::string findBinDir() {
  std::string found;
  std::error_code ec;
  for (const auto& entry : std::filesystem::directory_iterator("/usr/lib/postgresql", ec)) {
    const auto bin = entry.path() / "bin";
    if (std::filesystem::exists(bin / "initdb") && bin.string() > found) found = bin.string();
  }
  return found;
}

// Runs a PostgreSQL program as the user the cluster belongs to.
CommandResult runAsOwner(const std::string& program, std::vector<std::string> args) {
  if (geteuid() != 0) return runProgram(program, args);
  std::vector<std::string> wrapped{"--reuid=" + std::to_string(kUnprivileged),
                                   "--regid=" + std::to_string(kUnprivileged), "--clear-groups", program};
  wrapped.insert(wrapped.end(), args.begin(), args.end());
  return runProgram("/usr/bin/setpriv", wrapped);
}

std::string describe(const std::string& what, const CommandResult& result) {
  return what + " failed (" + std::to_string(result.status) + "): " + result.err + result.out;
}

}  // namespace

PostgresServer::PostgresServer() : binDir_(findBinDir()) {
  if (binDir_.empty()) {
    failure_ = "no PostgreSQL server programs under /usr/lib/postgresql (package postgresql-15)";
    return;
  }
  if (geteuid() == 0 && chown(dir_.path().c_str(), kUnprivileged, kUnprivileged) != 0) {
    failure_ = "cannot hand " + dir_.path() + " to nobody";
    return;
  }
  auto made = runAsOwner(binDir_ + "/initdb", {"-D", dir_.path() + "/cluster", "-U", "pellum", "--auth=trust",
                                               "-E", "UTF8", "--no-sync", "--no-instructions"});
  if (made.status != 0) {
    failure_ = describe("initdb", made);
    return;
  }
  if (!start()) return;
}

PostgresServer::~PostgresServer() {
  if (running_) pgCtl("stop");
}

bool PostgresServer::pgCtl(const std::string& action) {
  std::vector<std::string> args{"-D", dir_.path() + "/cluster", "-l", dir_.path() + "/server.log", "-w", "-t",
                                "60"};
  if (action == "start") {
    // Only the unix socket in our own directory; no fsync: the data is the
    // test's and goes with it.
    args.insert(args.end(), {"-o", "-k " + dir_.path() + " -c listen_addresses= -c fsync=off"});
  } else {
    args.insert(args.end(), {"-m", "fast"});
  }
  args.push_back(action);
  auto result = runAsOwner(binDir_ + "/pg_ctl", args);
  if (result.status != 0) {
    failure_ = describe("pg_ctl " + action, result);
    return false;
  }
  running_ = action == "start";
  return true;
}

bool PostgresServer::stop() { return pgCtl("stop"); }
bool PostgresServer::start() { return pgCtl("start"); }

std::string PostgresServer::url(const std::string& database) const {
  return "postgresql://pellum@/" + database + "?host=" + dir_.path();
}

std::string PostgresServer::createDatabase() {
  const std::string name = "pellum_" + std::to_string(++databases_);
  PGconn* admin = PQconnectdb(url("postgres").c_str());
  PGresult* result = PQexec(admin, ("CREATE DATABASE " + name).c_str());
  const bool made = PQresultStatus(result) == PGRES_COMMAND_OK;
  if (!made) failure_ = std::string("CREATE DATABASE failed: ") + PQerrorMessage(admin);
  PQclear(result);
  PQfinish(admin);
  return made ? url(name) : std::string();
}

}  // namespace pellum::server::test
