#pragma once

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

#include "temp_dir.h"

namespace pellum::server::test {

// A real load balancer running the configuration administrators are given
// (docs/nginx/pellum-server.conf or docs/haproxy/pellum-server.cfg),
// changed only where the file says "change:": the replicas' addresses, a
// plain-HTTP loopback port instead of the public name and certificate, and
// passwords of the test's own ("user:user-pass" may pair,
// "admin:admin-pass" may also list and revoke). Stopped when the object
// goes.
class LoadBalancer {
 public:
  enum class Kind { nginx, haproxy };
  struct Replica {
    unsigned short webPort;
    unsigned short transcribePort;
  };
  LoadBalancer(Kind kind, const std::vector<Replica>& replicas);
  ~LoadBalancer();
  LoadBalancer(const LoadBalancer&) = delete;
  LoadBalancer& operator=(const LoadBalancer&) = delete;

  bool started() const { return port_ != 0; }
  const std::string& failure() const { return failure_; }
  unsigned short port() const { return port_; }
  // What it logged, for a failing test's message.
  std::string log() const;

 private:
  // Writes the configuration for `port`; the command line that runs it.
  std::vector<std::string> configure(const std::vector<Replica>& replicas, unsigned short port);
  std::vector<std::string> configureNginx(const std::vector<Replica>& replicas, unsigned short port);
  std::vector<std::string> configureHaproxy(const std::vector<Replica>& replicas, unsigned short port);

  Kind kind_;
  TempDir dir_;
  pid_t pid_ = -1;
  unsigned short port_ = 0;
  std::string failure_;
};

std::string kindName(LoadBalancer::Kind kind);

// The Authorization header for the load balancer's basic sign-in.
std::pair<std::string, std::string> basicAuth(const std::string& user, const std::string& password);

}  // namespace pellum::server::test
