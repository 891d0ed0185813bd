// SPDX-License-Identifier: BSD-2-Clause
#include "wire/connection.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#if defined(__linux__)
#include <linux/sockios.h>
#endif

#include <cerrno>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include "text/system_error.h"

namespace zem::client {

namespace {

std::string ErrorText(int error_number) {
  return std::string(SystemErrorText(error_number).View());
}

Failure ConnectFailure(const Endpoint& endpoint, int error_number) {
  const std::string where = Display(endpoint);
  switch (error_number) {
    case ECONNREFUSED:
      return {FailureKind::kRefused, "nothing listens on " + where,
              "is the agent running, and is this its port?"};
    case ETIMEDOUT:
      return {FailureKind::kTimeout, "no answer from " + where + " while connecting",
              "the host is down, or a firewall drops the packets"};
    default:
      return {FailureKind::kUnreachable,
              "cannot connect to " + where + ": " + ErrorText(error_number), ""};
  }
}

bool Fail(Failure* failure, Failure why) {
  *failure = std::move(why);
  return false;
}

// Bytes that wait in the send queue, acknowledgements outstanding; -1 where that cannot be told.
int UnsentBytes(int socket) {
  int unsent = 0;
#if defined(SIOCOUTQ)
  constexpr unsigned long kQuestion = SIOCOUTQ;
#else
  constexpr unsigned long kQuestion = FIONWRITE;
#endif
  return ioctl(socket, kQuestion, &unsent) == 0 ? unsent : -1;
}

}  // namespace

std::string Display(const Endpoint& endpoint) {
  const bool bracketed = endpoint.host.find(':') != std::string::npos;
  const std::string host = bracketed ? '[' + endpoint.host + ']' : endpoint.host;
  return fmt::format("{}:{}", host, endpoint.port);
}

bool Connection::WaitFor(short events, const Deadline& deadline) {
  while (true) {
    pollfd wait = {socket_.Get(), events, 0};
    const int ready = poll(&wait, 1, deadline.PollTimeout());
    if (ready > 0) return true;
    if (ready < 0 && errno != EINTR) return true;  // the next call on the socket tells
    if (deadline.HasPassed()) return false;
  }
}

bool Connection::BindSource(const Endpoint& endpoint, int family, Failure* failure) {
  if (endpoint.source.empty()) return true;
  Failure ignored;
  for (const SocketAddress& local :
       Resolve(endpoint.source, 0, Deadline(Milliseconds(0)), &ignored)) {
    if (local.Family() != family) continue;
    if (bind(socket_.Get(), local.Get(), local.length) == 0) return true;
    return Fail(failure, {FailureKind::kLocal,
                          "cannot send from " + endpoint.source + ": " + ErrorText(errno), ""});
  }
  return Fail(failure, {FailureKind::kLocal,
                        endpoint.source + " is no address to send from to this host", ""});
}

bool Connection::OpenOne(const Endpoint& endpoint, const SocketAddress& address,
                         const Deadline& deadline, Failure* failure) {
  socket_.Reset(socket(address.Family(), SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket_.IsOpen()) {
    return Fail(failure, {FailureKind::kLocal, "cannot make a socket: " + ErrorText(errno), ""});
  }
  if (!BindSource(endpoint, address.Family(), failure)) return false;
  if (connect(socket_.Get(), address.Get(), address.length) != 0) {
    if (errno != EINPROGRESS && errno != EINTR) {
      return Fail(failure, ConnectFailure(endpoint, errno));
    }
    if (!WaitFor(POLLOUT, deadline)) {
      return Fail(failure, ConnectFailure(endpoint, ETIMEDOUT));
    }
    int error_number = 0;
    socklen_t length = sizeof(error_number);
    if (getsockopt(socket_.Get(), SOL_SOCKET, SO_ERROR, &error_number, &length) != 0) {
      error_number = errno;
    }
    if (error_number != 0) {
      return Fail(failure, ConnectFailure(endpoint, error_number));
    }
  }
  const int on = 1;
  (void)setsockopt(socket_.Get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));  // speed alone
  return true;
}

bool Connection::Open(const Endpoint& endpoint, const Deadline& deadline, Failure* failure) {
  *failure = Failure();
  for (const SocketAddress& address : Resolve(endpoint.host, endpoint.port, deadline, failure)) {
    if (OpenOne(endpoint, address, deadline, failure)) {
      *failure = Failure();
      return true;
    }
    socket_.Reset();
    if (failure->kind == FailureKind::kTimeout) break;
  }
  return false;
}

bool Connection::Send(std::string_view bytes, const Deadline& deadline, Failure* failure) {
  while (!bytes.empty()) {
    const ssize_t sent = send(socket_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent >= 0) {
      bytes.remove_prefix(static_cast<size_t>(sent));
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      if (WaitFor(POLLOUT, deadline)) continue;
      return Fail(failure, {FailureKind::kTimeout, "the agent does not take the request", ""});
    } else if (errno != EINTR) {
      return Fail(failure,
                  {FailureKind::kClosed, "the connection was closed: " + ErrorText(errno), ""});
    }
  }
  return true;
}

std::optional<std::string> Connection::Receive(size_t most, const Deadline& deadline) {
  std::string bytes(most, '\0');
  while (true) {
    const ssize_t received = recv(socket_.Get(), bytes.data(), bytes.size(), 0);
    if (received >= 0) {
      bytes.resize(static_cast<size_t>(received));
      return bytes;
    }
    if (errno == EAGAIN || errno == EWOULDBLOCK) {
      if (!WaitFor(POLLIN, deadline)) return std::nullopt;
    } else if (errno != EINTR) {
      return std::string();
    }
  }
}

bool Connection::Drain(const Deadline& deadline) {
  constexpr Milliseconds kTick{10};
  while (UnsentBytes(socket_.Get()) > 0) {
    if (deadline.HasPassed()) return false;
    std::this_thread::sleep_for(kTick);
  }
  return true;
}

}  // namespace zem::client
