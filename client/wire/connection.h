// SPDX-License-Identifier: BSD-2-Clause
// One TCP connection to an agent. No step waits past the deadline it is given.
//
// Errors:  false, and the reason in *failure.
// Threads: one at a time.

#ifndef ZEM_CLIENT_WIRE_CONNECTION_H_
#define ZEM_CLIENT_WIRE_CONNECTION_H_

#include <sys/socket.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/unique_fd.h"
#include "wire/deadline.h"
#include "wire/failure.h"

namespace zem::client {

inline constexpr size_t kLargestReply = 64 * 1024 * 1024;

struct SocketAddress {
  sockaddr_storage storage;
  socklen_t length;

  int Family() const { return storage.ss_family; }
  const sockaddr* Get() const { return reinterpret_cast<const sockaddr*>(&storage); }
};

// Turns a host name into addresses without waiting longer than asked: at least one, or a failure.
// The system's look-up cannot be interrupted, so it runs on a thread of its own that is left behind
// when the time is over. Any thread may call it.
std::vector<SocketAddress> Resolve(const std::string& host, int port, const Deadline& deadline,
                                   Failure* failure);

// True while a look-up that was given up is still running: the process then has to end without
// destructors of static objects (_exit).
bool LookupsLeftBehind();

struct Endpoint {
  std::string host;
  int port = 0;
  std::string source;  // local address to connect from; empty = any
  // How long a connection may take to stand, within the time for everything.
  Milliseconds connect_time = Milliseconds::max();
  size_t largest_reply = kLargestReply;  // in bytes; a larger one is refused unread
};

// "host:port" for texts; an IPv6 address in brackets.
std::string Display(const Endpoint& endpoint);

class Connection {
 public:
  [[nodiscard]] bool Open(const Endpoint& endpoint, const Deadline& deadline, Failure* failure);
  // False without a failure of kind kTimeout means the peer has gone: what it sent before may
  // still be read.
  [[nodiscard]] bool Send(std::string_view bytes, const Deadline& deadline, Failure* failure);
  // Waits for at least one byte and takes at most `most`. Empty = the peer closed; nothing = the
  // deadline passed. A reset counts as a close: an agent that refuses a request closes before it
  // has read everything, and which of the two arrives is a matter of timing.
  std::optional<std::string> Receive(size_t most, const Deadline& deadline);
  // Waits until the peer's system has acknowledged everything sent so far, as far as this system
  // can tell.
  [[nodiscard]] bool Drain(const Deadline& deadline);

  bool IsOpen() const { return socket_.IsOpen(); }

 private:
  bool OpenOne(const Endpoint& endpoint, const SocketAddress& address, const Deadline& deadline,
               Failure* failure);
  bool BindSource(const Endpoint& endpoint, int family, Failure* failure);
  bool WaitFor(short events, const Deadline& deadline);

  UniqueFd socket_;
};

}  // namespace zem::client

#endif  // ZEM_CLIENT_WIRE_CONNECTION_H_
