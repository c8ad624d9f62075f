#include "nginx_proxy.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/evp.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <regex>
#include <sstream>
#include <thread>

#include "server_process.h"

namespace pellum::server::test {
namespace {

constexpr const char* kNginx = "/usr/sbin/nginx";

std::string readAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

bool writeFile(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
  out.close();
  chmod(path.c_str(), 0644);  // nginx's workers run as nobody under root
  return static_cast<bool>(out);
}

// A loopback port nobody listens on now.
unsigned short unusedPort() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
  getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  close(fd);
  return ntohs(address.sin_port);
}

bool accepts(unsigned short port) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  const bool connected = connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  close(fd);
  return connected;
}

}  // namespace

std::pair<std::string, std::string> basicAuth(const std::string& user, const std::string& password) {
  const std::string pair = user + ":" + password;
  std::string encoded(4 * ((pair.size() + 2) / 3), '\0');
  EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()),
                  reinterpret_cast<const unsigned char*>(pair.data()), static_cast<int>(pair.size()));
  return {"Authorization", "Basic " + encoded};
}

std::string NginxProxy::configuration(const std::vector<Replica>& replicas, unsigned short port) {
  std::istringstream documented(readAll(PELLUM_NGINX_CONF));
  const std::regex upstreamLine(R"(^(\s*)server 10\.0\.0\.\d+:(\d+)(.*);$)");
  std::string site;
  std::string lastKind;
  for (std::string line; std::getline(documented, line);) {
    std::smatch match;
    if (std::regex_match(line, match, upstreamLine)) {
      // The documented replicas give way to ours, all written at the first.
      if (match[2] == lastKind) continue;
      lastKind = match[2];
      for (const auto& replica : replicas) {
        const auto replicaPort = lastKind == "3001" ? replica.transcribePort : replica.webPort;
        site += std::string(match[1]) + "server 127.0.0.1:" + std::to_string(replicaPort) +
                std::string(match[3]) + ";\n";
      }
      continue;
    }
    lastKind.clear();
    if (line.find("ssl_certificate") != std::string::npos) continue;
    line = std::regex_replace(line, std::regex("listen 443 ssl;"),
                              "listen 127.0.0.1:" + std::to_string(port) + ";");
    line = std::regex_replace(line, std::regex("/etc/nginx/"), dir_.path() + "/");
    site += line + "\n";
  }
  writeFile(dir_.path() + "/pellum-server.conf", site);
  writeFile(dir_.path() + "/pellum-users.htpasswd", "user:{PLAIN}user-pass\nadmin:{PLAIN}admin-pass\n");
  writeFile(dir_.path() + "/pellum-admins.htpasswd", "admin:{PLAIN}admin-pass\n");
  const std::string& d = dir_.path();
  return "worker_processes 1;\npid " + d + "/nginx.pid;\nerror_log " + d +
         "/error.log info;\nevents { worker_connections 1024; }\nhttp {\n  access_log " + d +
         "/access.log;\n  client_body_temp_path " + d + "/body;\n  proxy_temp_path " + d +
         "/proxy;\n  fastcgi_temp_path " + d + "/fastcgi;\n  uwsgi_temp_path " + d +
         "/uwsgi;\n  scgi_temp_path " + d + "/scgi;\n  include " + d + "/pellum-server.conf;\n}\n";
}

NginxProxy::NginxProxy(const std::vector<Replica>& replicas) {
  if (access(kNginx, X_OK) != 0) {
    failure_ = "no nginx at /usr/sbin/nginx (package nginx-light)";
    return;
  }
  chmod(dir_.path().c_str(), 0755);
  // Another process may take the port between our look and nginx's bind:
  // then nginx exits, and another port is tried.
  for (int attempt = 0; attempt < 3 && !started(); ++attempt) {
    const unsigned short port = unusedPort();
    writeFile(dir_.path() + "/nginx.conf", configuration(replicas, port));
    pid_ = startProgram(kNginx,
                        {"-p", dir_.path(), "-c", dir_.path() + "/nginx.conf", "-e",
                         dir_.path() + "/error.log", "-g", "daemon off;"},
                        dir_.path() + "/nginx.out", dir_.path() + "/nginx.err");
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < deadline) {
      if (accepts(port)) {
        port_ = port;
        break;
      }
      if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
        pid_ = -1;
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  }
  if (!started()) failure_ = "nginx did not start: " + readAll(dir_.path() + "/nginx.err") + errorLog();
}

NginxProxy::~NginxProxy() {
  if (pid_ <= 0) return;
  kill(pid_, SIGQUIT);  // graceful: finish what is open, then exit
  waitForProgram(pid_);
}

std::string NginxProxy::errorLog() const { return readAll(dir_.path() + "/error.log"); }

}  // namespace pellum::server::test
