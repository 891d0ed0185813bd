// SPDX-License-Identifier: BSD-2-Clause
// Threads whose session has ended and that wait a moment for the next connection.
//
// Starting and ending a thread costs a small request more than its cipher does. Only a handful
// wait, and only for seconds: an idle agent soon has its main thread alone. Threads: any.

#ifndef ZEM_CORE_WAITING_THREADS_H_
#define ZEM_CORE_WAITING_THREADS_H_

#include <chrono>

#include "core/mutex.h"

namespace zem {

template <typename Session>
class WaitingThreads {
 public:
  // Hands a session to a thread that waits; false when there is none.
  bool Give(Session* session) {
    {
      MutexLock lock(&lock_);
      if (given_count_ == waiting_) return false;
      given_[given_count_++] = session;
    }
    came_.NotifyOne();  // the woken thread finds the lock free
    return true;
  }

  // The session that came meanwhile; null when none did, or when enough threads wait already.
  Session* Take() {
    MutexLock lock(&lock_);
    if (waiting_ == kMost) return nullptr;
    ++waiting_;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (given_count_ == 0 && came_.WaitUntil(&lock_, end)) {
    }
    --waiting_;
    return given_count_ == 0 ? nullptr : given_[--given_count_];
  }

 private:
  static constexpr int kMost = 8;

  Mutex lock_;
  Condition came_;
  int waiting_ ZEM_GUARDED_BY(lock_) = 0;
  int given_count_ ZEM_GUARDED_BY(lock_) = 0;  // at most as many as wait
  Session* given_[kMost] ZEM_GUARDED_BY(lock_) = {};
};

}  // namespace zem

#endif  // ZEM_CORE_WAITING_THREADS_H_
