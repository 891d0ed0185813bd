// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/sockets.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <ctime>

#include "core/own_connections.h"
#include "text/system_error.h"

namespace zem {

namespace {

constexpr const char* kNotResolvedText = "Cannot resolve server name to IP address";
constexpr const char* kTimeoutText = "Timeout";
constexpr const char* kIoctlText = "ioctl error - ";

int Fail(OvString* error, int error_number, int code) {
  *error = SystemErrorText(error_number);
  return code;
}

int TimedOut(OvString* error) {
  *error = kTimeoutText;
  return socket_code::kTimeout;
}

// Above 0 when the descriptor is ready, 0 on time-out, below 0 with errno set. Not `select`:
// descriptors above 1,023 are normal here. Like it, a negative time-out is an invalid argument.
int WaitFor(int fd, short events, int64_t timeout_ms) {
  if (timeout_ms < 0) {
    errno = EINVAL;
    return -1;
  }
  pollfd wanted = {fd, events, 0};
  timespec limit = {};
  limit.tv_sec = static_cast<time_t>(timeout_ms / 1000);
  limit.tv_nsec = static_cast<long>(timeout_ms % 1000 * 1'000'000);
  return ppoll(&wanted, 1, &limit, nullptr);
}

// The count of bytes, or a code when receiving failed.
int Received(ssize_t count, OvString* error) {
  if (count >= 0) return static_cast<int>(count);
  if (errno == ETIMEDOUT) return TimedOut(error);
  return Fail(error, errno, socket_code::kReceiveFailed);
}

// The second half of a connect that waits: the socket is non-blocking.
int FinishConnect(int fd, const sockaddr_in& endpoint, int32_t timeout_ms, OvString* error) {
  const int started = connect(fd, reinterpret_cast<const sockaddr*>(&endpoint), sizeof(endpoint));
  const int connect_errno = errno;
  if (started != 0 && connect_errno != EINPROGRESS && connect_errno != EALREADY &&
      connect_errno != EISCONN) {
    return Fail(error, connect_errno, socket_code::kConnectFailed);
  }
  const int ready = WaitFor(fd, POLLOUT, timeout_ms);
  if (ready == 0) return TimedOut(error);
  if (ready < 0) return Fail(error, errno, socket_code::kConnectFailed);
  int result = 0;
  socklen_t length = sizeof(result);
  getsockopt(fd, SOL_SOCKET, SO_ERROR, &result, &length);
  if (result != 0 || length != 4) {
    // Deliberate: the text is that of the thread's error number, which connect left ("in
    // progress"), not that of the socket. Servers have been told so for years.
    return Fail(error, connect_errno, socket_code::kConnectFailed);
  }
  return socket_code::kDone;
}

}  // namespace

int ResolveIPv4(const OvString& host, in_addr* address, OvString* error) {
  error->Clear();
  address->s_addr = inet_addr(host.CStr());
  if (address->s_addr != INADDR_NONE) return socket_code::kDone;
  addrinfo hints = {};
  hints.ai_family = AF_INET;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.CStr(), nullptr, &hints, &found) != 0) {
    *error = kNotResolvedText;
    return socket_code::kNotResolved;
  }
  const AddrInfoPtr list(found);
  for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
    if (entry->ai_family != AF_INET) continue;
    *address = reinterpret_cast<const sockaddr_in*>(entry->ai_addr)->sin_addr;
    break;
  }
  return socket_code::kDone;
}

int ResolveEndpoint(const OvString& host, int32_t port, sockaddr_in* endpoint, OvString* error) {
  *endpoint = {};
  endpoint->sin_family = AF_INET;
  endpoint->sin_port = htons(static_cast<uint16_t>(port));
  return ResolveIPv4(host, &endpoint->sin_addr, error);
}

int ConnectTcp(UniqueFd* socket, const SocketExchange& wanted, OvString* error) {
  socket->Reset();
  sockaddr_in endpoint;
  const int resolved = ResolveEndpoint(wanted.host, wanted.port, &endpoint, error);
  if (resolved != socket_code::kDone) return resolved;
  socket->Reset(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!socket->IsOpen()) return Fail(error, errno, socket_code::kNoSocket);
  if (wanted.timeout != 0) {
    int on = 1;
    if (ioctl(socket->Get(), FIONBIO, &on) == 0) {
      return FinishConnect(socket->Get(), endpoint, wanted.timeout, error);
    }
    *error = kIoctlText;
    error->Append(SystemErrorText(errno));
    return socket_code::kNoSocket;
  }
  if (connect(socket->Get(), reinterpret_cast<const sockaddr*>(&endpoint), sizeof(endpoint)) != 0) {
    return Fail(error, errno, socket_code::kConnectFailed);
  }
  return socket_code::kDone;
}

int TcpExchange(const SocketExchange& wanted, OvString* error) {
  OwnConnection own;
  UniqueFd fd;
  const int connected = ConnectTcp(&fd, wanted, error);
  if (connected != socket_code::kDone) return connected;
  if (!wanted.data.empty() &&
      (!own.Register(fd.Get()) ||
       send(fd.Get(), wanted.data.data(), wanted.data.size(), MSG_NOSIGNAL) < 0)) {
    return Fail(error, errno, socket_code::kSendFailed);
  }
  if (wanted.buffer.empty()) return socket_code::kDone;
  if (WaitFor(fd.Get(), POLLIN, wanted.timeout) != 1) return TimedOut(error);
  own.Answered();
  return Received(recv(fd.Get(), wanted.buffer.data(), wanted.buffer.size(), 0), error);
}

int UdpExchange(const SocketExchange& wanted, OvString* error) {
  sockaddr_in endpoint;
  const int resolved = ResolveEndpoint(wanted.host, wanted.port, &endpoint, error);
  if (resolved != socket_code::kDone) return resolved;
  const UniqueFd fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!fd.IsOpen()) return Fail(error, errno, socket_code::kNoSocket);
  ssize_t count = 0;
  if (!wanted.data.empty()) {
    count = sendto(fd.Get(), wanted.data.data(), wanted.data.size(), MSG_NOSIGNAL,
                   reinterpret_cast<const sockaddr*>(&endpoint), sizeof(endpoint));
    if (count < 0) return Fail(error, errno, socket_code::kSendFailed);
  }
  if (!wanted.buffer.empty()) {
    if (WaitFor(fd.Get(), POLLIN, int64_t{wanted.timeout} * 1000) != 1) return TimedOut(error);
    count = recvfrom(fd.Get(), wanted.buffer.data(), wanted.buffer.size(), 0, nullptr, nullptr);
  }
  return Received(count, error);
}

}  // namespace zem
