// SPDX-License-Identifier: BSD-2-Clause
// Debian's zabbix-agent with a pre-shared key, and its cheapest request: `agent.ping` over TLS 1.2
// with the key alone (no exchange of Diffie and Hellman's), a connection each.

#ifndef ZEM_BENCH_PACKAGED_PEER_H_
#define ZEM_BENCH_PACKAGED_PEER_H_

#include <memory>
#include <string>

#include "server.h"

namespace zem::bench {

class PackagedPeer {
 public:
  // Its files lie in `folder`. IsThere() is false where the program cannot be started.
  explicit PackagedPeer(const std::string& folder);
  ~PackagedPeer();
  PackagedPeer(const PackagedPeer&) = delete;
  PackagedPeer& operator=(const PackagedPeer&) = delete;

  bool IsThere() const { return there_; }
  Server AsServer() const;

 private:
  struct Client;

  std::unique_ptr<Client> client_;
  std::unique_ptr<Child> child_;
  bool there_ = false;
};

}  // namespace zem::bench

#endif  // ZEM_BENCH_PACKAGED_PEER_H_
