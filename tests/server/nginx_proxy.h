#pragma once

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

#include "temp_dir.h"

namespace pellum::server::test {

// A real nginx running the configuration administrators are given
// (docs/nginx/pellum-server.conf), changed only where the file says
// "change:": the replicas' addresses, a plain-HTTP loopback port instead of
// the public name and certificate, and password files of the test's own
// ("user:user-pass" may pair, "admin:admin-pass" may also list and revoke).
// Stopped when the object goes.
class NginxProxy {
 public:
  struct Replica {
    unsigned short webPort;
    unsigned short transcribePort;
  };
  explicit NginxProxy(const std::vector<Replica>& replicas);
  ~NginxProxy();
  NginxProxy(const NginxProxy&) = delete;
  NginxProxy& operator=(const NginxProxy&) = delete;

  bool started() const { return port_ != 0; }
  const std::string& failure() const { return failure_; }
  unsigned short port() const { return port_; }
  // nginx's error log, for a failing test's message.
  std::string errorLog() const;

 private:
  std::string configuration(const std::vector<Replica>& replicas, unsigned short port);

  TempDir dir_;
  pid_t pid_ = -1;
  unsigned short port_ = 0;
  std::string failure_;
};

// The Authorization header for nginx's basic sign-in.
std::pair<std::string, std::string> basicAuth(const std::string& user, const std::string& password);

}  // namespace pellum::server::test
