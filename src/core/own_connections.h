// SPDX-License-Identifier: BSD-2-Clause
// The near ends of the TCP connections over which the agent itself has sent something.
//
// A request can make the agent connect to itself and send a second request there. That one comes
// from this host's own address, which the lists of managers mostly hold; by its end here it is told
// from a request of somebody who really is on this host.
// An end outlives its connection: what was sent may still wait in the backlog. The accept loop
// forgets it once nobody can be at the other end any more, soon where that is another port than the
// agent's: the system may give the same end to a manager on this host. It is kept until then all
// the same, since a packet filter can lead a connection here that was made to another port.
// Threads: any; one table behind its own mutex. An OwnConnection has one owner.

#ifndef ZEM_CORE_OWN_CONNECTIONS_H_
#define ZEM_CORE_OWN_CONNECTIONS_H_

#include <cstdint>
#include <vector>

#include "core/endpoint.h"

namespace zem {

// Destroyed after the descriptor it speaks of was closed.
class OwnConnection {
 public:
  OwnConnection() = default;
  ~OwnConnection() { End(); }
  OwnConnection(const OwnConnection&) = delete;
  OwnConnection& operator=(const OwnConnection&) = delete;

  // To be called before the first byte is sent; later calls do nothing. False leaves errno set.
  [[nodiscard]] bool Register(int socket);
  // The other end has been heard of, so whoever is there has the connection in hand.
  void Answered() { may_be_half_open_ = false; }
  void End();

 private:
  bool registered_ = false;
  bool may_be_half_open_ = true;  // with the agent itself
  Endpoint near_end_;
};

// Before the agent listens on the port.
void SetOwnPort(int port);

bool IsOwnConnection(const Endpoint& near_end);

// Ends of connections that are closed, and long enough so that no half-open one can still turn up.
std::vector<Endpoint> EndedOwnConnections(int64_t now_ms);
// Unless it was used again since `now_ms`.
void ForgetOwnConnection(const Endpoint& near_end, int64_t now_ms);

}  // namespace zem

#endif  // ZEM_CORE_OWN_CONNECTIONS_H_
