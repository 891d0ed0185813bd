// SPDX-License-Identifier: BSD-2-Clause
#include "core/listener.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "core/own_connections.h"

namespace zem {

namespace {

constexpr int kBacklog = 512;
constexpr int kAttempts = 3;
constexpr unsigned kPauseSeconds = 1;
constexpr int kHighestPort = 65535;
constexpr int kKeepAliveIdleSeconds = 60;
constexpr time_t kSendTimeoutSeconds = 120;

void SetOption(int socket, int level, int name, int value) {
  // A system without one of these still serves; none of them changes what a peer is told.
  (void)setsockopt(socket, level, name, &value, sizeof(value));
}

void SetConnectionOptions(int socket) {
  SetOption(socket, SOL_SOCKET, SO_KEEPALIVE, 1);
  SetOption(socket, IPPROTO_TCP, TCP_KEEPIDLE, kKeepAliveIdleSeconds);
  SetOption(socket, IPPROTO_TCP, TCP_NODELAY, 1);
  const timeval send_timeout = {kSendTimeoutSeconds, 0};
  (void)setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &send_timeout, sizeof(send_timeout));
}

AddrInfoPtr ResolveLocal(const OvString& host, int port, OvString* error) {
  addrinfo hints = {};
  hints.ai_flags = AI_PASSIVE;
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  int code = EAI_SERVICE;
  if (port >= 0 && port <= kHighestPort) {
    const OvString service = OvString().AppendInt(port);
    code = getaddrinfo(host.IsEmpty() ? nullptr : host.CStr(), service.CStr(), &hints, &found);
  }
  if (code != 0) *error = gai_strerror(code);
  return AddrInfoPtr(code == 0 ? found : nullptr);
}

UniqueFd BindFirst(const addrinfo* candidates) {
  for (const addrinfo* entry = candidates; entry != nullptr; entry = entry->ai_next) {
    UniqueFd socket_fd(socket(entry->ai_family, entry->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK,
                              entry->ai_protocol));
    if (!socket_fd.IsOpen()) continue;
    SetOption(socket_fd.Get(), SOL_SOCKET, SO_REUSEADDR, 1);
    if (bind(socket_fd.Get(), entry->ai_addr, entry->ai_addrlen) == 0) return socket_fd;
    shutdown(socket_fd.Get(), SHUT_RDWR);
  }
  return {};
}

}  // namespace

UniqueFd OpenListener(const OvString& host, int port, OvString* error) {
  error->Clear();
  const AddrInfoPtr candidates = ResolveLocal(host, port, error);
  if (!candidates) return {};
  UniqueFd listener = BindFirst(candidates.get());
  if (!listener.IsOpen()) {
    *error = "socket() or bind() error";
    return {};
  }
  SetConnectionOptions(listener.Get());
  if (listen(listener.Get(), kBacklog) != 0) {
    shutdown(listener.Get(), SHUT_RDWR);
    *error = "listen() error";
    return {};
  }
  return listener;
}

UniqueFd ListenWithRetry(const Settings& settings, OvString* error) {
  SetOwnPort(settings.port);
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    UniqueFd listener = OpenListener(settings.host, settings.port, error);
    if (listener.IsOpen()) return listener;
    sleep(kPauseSeconds);
  }
  return {};
}

UniqueFd AcceptConnection(int listener, Endpoint* peer) {
  sockaddr_in address = {};
  socklen_t length = sizeof(address);
  UniqueFd connection(
      accept4(listener, reinterpret_cast<sockaddr*>(&address), &length, SOCK_CLOEXEC));
  *peer = {address.sin_addr.s_addr, address.sin_port};
  return connection;
}

}  // namespace zem
