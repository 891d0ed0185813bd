// SPDX-License-Identifier: BSD-2-Clause
// The sessions whose peers have not shown yet that they know the password, oldest first.
//
// When threads or descriptors run short the oldest of them makes room, so that strangers cost one
// another and nobody else. Its socket is shut down for receiving only: a request that is there
// already is still answered, and the session's own thread closes the socket. A session leaves the
// list before it does so: no descriptor in the list can be anybody else's.
// Threads: any, unless a line says otherwise.

#ifndef ZEM_CORE_UNPROVEN_SESSIONS_H_
#define ZEM_CORE_UNPROVEN_SESSIONS_H_

#include <cstdint>

#include "core/endpoint.h"
#include "core/monotonic_clock.h"
#include "core/mutex.h"

namespace zem {

// A place in the list, owned by the session and outliving its stay there.
struct UnprovenSession {
  UnprovenSession(int descriptor, const Endpoint& other_end)
      : socket(descriptor), peer(other_end) {}

  const int socket;
  const Endpoint peer;
  const int64_t accepted_ms = MonotonicMilliseconds();
  // The list's own.
  bool listed = false;
  bool shut_down = false;
  UnprovenSession* older = nullptr;
  UnprovenSession* younger = nullptr;
};

class UnprovenSessions {
 public:
  void Add(UnprovenSession* session);
  // Does nothing for one that is not in the list.
  void Remove(UnprovenSession* session);

  bool IsEmpty() const;
  // True while there is one that could be shut down.
  bool CanMakeRoom() const;
  // Main thread. Shuts the oldest down, once; false when there is none left. May wait for some
  // milliseconds: one that has only just come gets the time that a request takes to arrive.
  [[nodiscard]] bool ShutDownOldest();

  // Those that are shut down and not closed yet included.
  bool HoldsPeer(const Endpoint& peer) const;

 private:
  UnprovenSession* OldestOpen() const ZEM_REQUIRES(lock_);

  mutable Mutex lock_;
  UnprovenSession* oldest_ ZEM_GUARDED_BY(lock_) = nullptr;
  UnprovenSession* youngest_ ZEM_GUARDED_BY(lock_) = nullptr;
};

}  // namespace zem

#endif  // ZEM_CORE_UNPROVEN_SESSIONS_H_
