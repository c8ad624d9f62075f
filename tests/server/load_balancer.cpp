#include "load_balancer.h"

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

namespace {

// The documented file with the test's replicas in place of the example's
// (10.0.0.x): every block of replica lines becomes one line per replica.
std::string withReplicas(const std::string& documented, const std::vector<LoadBalancer::Replica>& replicas) {
  std::istringstream lines(documented);
  const std::regex replicaLine(R"(^(\s*server )(\w+ )?10\.0\.0\.\d+:(\d+)(.*)$)");
  std::string out;
  std::string block;  // the port of the block being replaced
  for (std::string line; std::getline(lines, line);) {
    std::smatch match;
    if (!std::regex_match(line, match, replicaLine)) {
      block.clear();
      out += line + "\n";
      continue;
    }
    if (match[3] == block) continue;
    block = match[3];
    for (std::size_t i = 0; i < replicas.size(); ++i) {
      const auto port = block == "3001" ? replicas[i].transcribePort : replicas[i].webPort;
      const std::string name = match[2].matched ? "r" + std::to_string(i) + " " : "";
      out +=
          std::string(match[1]) + name + "127.0.0.1:" + std::to_string(port) + std::string(match[4]) + "\n";
    }
  }
  return out;
}

std::string replaced(std::string text, const std::string& pattern, const std::string& with) {
  return std::regex_replace(text, std::regex(pattern), with);
}

}  // namespace

std::string kindName(LoadBalancer::Kind kind) {
  return kind == LoadBalancer::Kind::nginx ? "Nginx" : "Haproxy";
}

std::vector<std::string> LoadBalancer::configureNginx(const std::vector<Replica>& replicas,
                                                      unsigned short port) {
  const std::string& d = dir_.path();
  std::string site = withReplicas(readAll(PELLUM_NGINX_CONF), replicas);
  site = replaced(site, "listen 443 ssl;", "listen 127.0.0.1:" + std::to_string(port) + ";");
  site = replaced(site, "\\s*ssl_certificate[^\n]*", "");
  site = replaced(site, "/etc/nginx/", d + "/");
  writeFile(d + "/pellum-server.conf", site);
  writeFile(d + "/pellum-users.htpasswd", "user:{PLAIN}user-pass\nadmin:{PLAIN}admin-pass\n");
  writeFile(d + "/pellum-admins.htpasswd", "admin:{PLAIN}admin-pass\n");
  writeFile(d + "/nginx.conf",
            "worker_processes 1;\npid " + d + "/nginx.pid;\nerror_log " + d +
                "/error.log info;\nevents { worker_connections 1024; }\nhttp {\n  access_log " + d +
                "/access.log;\n  client_body_temp_path " + d + "/body;\n  proxy_temp_path " + d +
                "/proxy;\n  fastcgi_temp_path " + d + "/fastcgi;\n  uwsgi_temp_path " + d +
                "/uwsgi;\n  scgi_temp_path " + d + "/scgi;\n  include " + d + "/pellum-server.conf;\n}\n");
  return {"/usr/sbin/nginx", "-p", d, "-c", d + "/nginx.conf", "-e", d + "/error.log", "-g", "daemon off;"};
}

std::vector<std::string> LoadBalancer::configureHaproxy(const std::vector<Replica>& replicas,
                                                        unsigned short port) {
  const std::string& d = dir_.path();
  std::string config = withReplicas(readAll(PELLUM_HAPROXY_CFG), replicas);
  config = replaced(config, "bind :443 ssl crt [^\n]*", "bind 127.0.0.1:" + std::to_string(port));
  config = replaced(config, "user ann password [^\n]*",
                    "user user insecure-password user-pass\n    user admin insecure-password admin-pass");
  config = replaced(config, "user root password [^\n]*", "user admin insecure-password admin-pass");
  writeFile(d + "/haproxy.cfg", config);
  // -db: in the foreground, as this object's child.
  return {"/usr/sbin/haproxy", "-db", "-f", d + "/haproxy.cfg"};
}

std::vector<std::string> LoadBalancer::configure(const std::vector<Replica>& replicas, unsigned short port) {
  return kind_ == Kind::nginx ? configureNginx(replicas, port) : configureHaproxy(replicas, port);
}

LoadBalancer::LoadBalancer(Kind kind, const std::vector<Replica>& replicas) : kind_(kind) {
  const std::string program = kind == Kind::nginx ? "/usr/sbin/nginx" : "/usr/sbin/haproxy";
  if (access(program.c_str(), X_OK) != 0) {
    failure_ = "no " + program + " (package " + (kind == Kind::nginx ? "nginx-light" : "haproxy") + ")";
    return;
  }
  chmod(dir_.path().c_str(), 0755);  // nginx's workers run as nobody under root
  // Another process may take the port between our look and the balancer's
  // bind: then it exits, and another port is tried.
  for (int attempt = 0; attempt < 3 && !started(); ++attempt) {
    const unsigned short port = unusedPort();
    auto command = configure(replicas, port);
    const std::string executable = command.front();
    command.erase(command.begin());
    pid_ = startProgram(executable, command, dir_.path() + "/out.log", dir_.path() + "/err.log");
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
  if (!started()) failure_ = kindName(kind) + " did not start: " + log();
}

LoadBalancer::~LoadBalancer() {
  if (pid_ <= 0) return;
  kill(pid_, SIGTERM);
  waitForProgram(pid_);
}

std::string LoadBalancer::log() const {
  return readAll(dir_.path() + "/err.log") + readAll(dir_.path() + "/out.log") +
         readAll(dir_.path() + "/error.log");
}

}  // namespace pellum::server::test
