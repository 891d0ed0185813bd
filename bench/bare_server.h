// SPDX-License-Identifier: BSD-2-Clause
// The limit of a request on this machine: a server that accepts, starts a thread, reads and writes
// as many bytes as the agent would and closes, and does nothing else.

#ifndef ZEM_BENCH_BARE_SERVER_H_
#define ZEM_BENCH_BARE_SERVER_H_

#include <memory>
#include <string>

#include "server.h"

namespace zem::bench {

struct Exchange {
  std::string request;
  size_t reply_bytes;
};

// Connects to 127.0.0.1, sends the request and takes the reply.
bool Ask(int port, const Exchange& exchange);

struct BareServer {
  explicit BareServer(const Exchange& exchange);
  Server AsServer(const std::string& name) const;

  const Exchange exchange;
  int port = 0;
  std::unique_ptr<Child> child;
};

}  // namespace zem::bench

#endif  // ZEM_BENCH_BARE_SERVER_H_
