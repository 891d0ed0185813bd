// SPDX-License-Identifier: BSD-2-Clause
#include "packaged_peer.h"

#include <fcntl.h>
#include <openssl/ssl.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <string_view>

#include "e2e/agent_process.h"

namespace zem::bench {

namespace {

constexpr unsigned char kKey[16] = {'a', ' ', 'k', 'e', 'y', ' ', 'f',
                                    'o', 'r', ' ', 't', 'h', 'i', 's'};
constexpr char kIdentity[] = "bench";

unsigned GiveKey(SSL*, const char*, char* identity, unsigned identity_size, unsigned char* key,
                 unsigned key_size) {
  if (identity_size < sizeof(kIdentity) || key_size < sizeof(kKey)) return 0;
  memcpy(identity, kIdentity, sizeof(kIdentity));
  memcpy(key, kKey, sizeof(kKey));
  return sizeof(kKey);
}

// The key in hexadecimal digits, readable by nobody else, as the program asks for.
void WriteKey(const std::string& path) {
  close(open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
  std::ofstream file(path);
  for (const unsigned char byte : kKey) {
    file << "0123456789abcdef"[byte / 16] << "0123456789abcdef"[byte % 16];
  }
}

std::vector<pid_t> WithChildren(pid_t parent) {
  std::vector<pid_t> all = {parent};
  const std::string id = std::to_string(parent);
  std::ifstream children("/proc/" + id + "/task/" + id + "/children");
  for (pid_t child; children >> child;) all.push_back(child);
  return all;
}

}  // namespace

struct PackagedPeer::Client {
  int port = test::FreePort();
  SSL_CTX* context = SSL_CTX_new(TLS_client_method());

  Client() {
    SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION);
    SSL_CTX_set_cipher_list(context,
                            "PSK-AES128-CBC-SHA256:PSK-AES128-CBC-SHA:PSK-AES128-GCM-SHA256");
    SSL_CTX_set_psk_client_callback(context, GiveKey);
  }
  ~Client() { SSL_CTX_free(context); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  bool Ask() const {
    constexpr std::string_view kRequest("ZBXD\1\12\0\0\0\0\0\0\0agent.ping", 23);
    const test::Connection connection(port);
    if (!connection.IsOpen()) return false;
    SSL* const tls = SSL_new(context);
    SSL_set_fd(tls, connection.Fd());
    std::string reply;
    if (SSL_connect(tls) == 1 &&
        SSL_write(tls, kRequest.data(), static_cast<int>(kRequest.size())) > 0) {
      char buffer[256];
      for (int n; (n = SSL_read(tls, buffer, sizeof(buffer))) > 0;) {
        reply.append(buffer, static_cast<size_t>(n));
      }
    }
    SSL_free(tls);
    return reply.starts_with("ZBXD\1") && reply.ends_with('1');
  }
};

PackagedPeer::PackagedPeer(const std::string& folder) : client_(std::make_unique<Client>()) {
  WriteKey(folder + "/psk");
  const std::string config = folder + "/agentd.conf";
  std::ofstream(config) << "LogFile=" << folder << "/agentd.log\nPidFile=" << folder
                        << "/agentd.pid\nServer=127.0.0.1\nListenIP=127.0.0.1\nListenPort="
                        << client_->port << "\nAllowRoot=1\nStartAgents=3\nTLSConnect=psk\n"
                        << "TLSAccept=psk\nTLSPSKIdentity=" << kIdentity
                        << "\nTLSPSKFile=" << folder << "/psk\n";
  const pid_t pid = fork();
  if (pid == 0) {
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(null, STDOUT_FILENO);
    execlp("zabbix_agentd", "zabbix_agentd", "-f", "-c", config.c_str(), nullptr);
    _exit(127);
  }
  child_ = std::make_unique<Child>(pid);
  there_ =
      test::Eventually([&] { return client_->Ask() || waitpid(pid, nullptr, WNOHANG) == pid; }) &&
      client_->Ask();
}

PackagedPeer::~PackagedPeer() = default;

Server PackagedPeer::AsServer() const {
  return {"zabbix_agentd: agent.ping, TLS, pre-shared key", WithChildren(child_->Pid()),
          [this] { return client_->Ask(); }};
}

}  // namespace zem::bench
