// SPDX-License-Identifier: BSD-2-Clause
#include "core/unproven_sessions.h"

#include <poll.h>
#include <sys/socket.h>

namespace zem {

namespace {

constexpr int64_t kLeastAgeMs = 20;

}  // namespace

void UnprovenSessions::Add(UnprovenSession* session) {
  MutexLock lock(&lock_);
  session->listed = true;
  session->older = youngest_;
  (youngest_ == nullptr ? oldest_ : youngest_->younger) = session;
  youngest_ = session;
}

void UnprovenSessions::Remove(UnprovenSession* session) {
  MutexLock lock(&lock_);
  if (!session->listed) return;
  session->listed = false;
  (session->older == nullptr ? oldest_ : session->older->younger) = session->younger;
  (session->younger == nullptr ? youngest_ : session->younger->older) = session->older;
}

// Those that are shut down stand in front, and not for long.
UnprovenSession* UnprovenSessions::OldestOpen() const {
  UnprovenSession* session = oldest_;
  while (session != nullptr && session->shut_down) session = session->younger;
  return session;
}

bool UnprovenSessions::IsEmpty() const {
  MutexLock lock(&lock_);
  return oldest_ == nullptr;
}

bool UnprovenSessions::CanMakeRoom() const {
  MutexLock lock(&lock_);
  return OldestOpen() != nullptr;
}

bool UnprovenSessions::ShutDownOldest() {
  for (;;) {
    int64_t wait_ms = 0;
    {
      MutexLock lock(&lock_);
      UnprovenSession* session = OldestOpen();
      if (session == nullptr) return false;
      wait_ms = session->accepted_ms + kLeastAgeMs - MonotonicMilliseconds();
      if (wait_ms <= 0) {
        shutdown(session->socket, SHUT_RD);
        session->shut_down = true;
        return true;
      }
    }
    (void)poll(nullptr, 0, static_cast<int>(wait_ms));
  }
}

bool UnprovenSessions::HoldsPeer(const Endpoint& peer) const {
  MutexLock lock(&lock_);
  for (UnprovenSession* session = oldest_; session != nullptr; session = session->younger) {
    if (session->peer == peer) return true;
  }
  return false;
}

}  // namespace zem
