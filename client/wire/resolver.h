// SPDX-License-Identifier: BSD-2-Clause
// Turns a host name into addresses without waiting longer than asked.
//
// The system's look-up cannot be interrupted, so it runs on a thread of its own that is left
// behind when the time is over.
// Threads: any.

#ifndef ZEM_CLIENT_WIRE_RESOLVER_H_
#define ZEM_CLIENT_WIRE_RESOLVER_H_

#include <sys/socket.h>

#include <string>
#include <vector>

#include "wire/deadline.h"
#include "wire/failure.h"

namespace zem::client {

struct SocketAddress {
  sockaddr_storage storage;
  socklen_t length;

  int Family() const { return storage.ss_family; }
  const sockaddr* Get() const { return reinterpret_cast<const sockaddr*>(&storage); }
};

// At least one address, or a failure.
std::vector<SocketAddress> Resolve(const std::string& host, int port, const Deadline& deadline,
                                   Failure* failure);

// True while a look-up that was given up is still running: the process then has to end without
// destructors of static objects (_exit).
bool LookupsLeftBehind();

}  // namespace zem::client

#endif  // ZEM_CLIENT_WIRE_RESOLVER_H_
