// SPDX-License-Identifier: BSD-2-Clause
// Tells the host's own syslog who sent a wrong password, for what watches logins there.
//
// At most one line a minute and address. The table of addresses is bounded: in a minute in which it
// is full of others, an address goes untold. A syslog that takes nothing holds one thread, and that
// one only after its session.
// Threads: any.

#ifndef ZEM_CORE_WRONG_PASSWORDS_H_
#define ZEM_CORE_WRONG_PASSWORDS_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/mutex.h"

namespace zem {

class WrongPasswords {
 public:
  static constexpr size_t kMostPeers = 1024;

  using Clock = int64_t (*)();
  using Teller = void (*)(uint32_t peer);  // IPv4, network byte order
  WrongPasswords();
  WrongPasswords(Clock clock, Teller teller) : clock_(clock), teller_(teller) {}

  // Never waits.
  void Note(uint32_t peer);

  // Tells what was noted, unless another thread is at it. May wait for the syslog, so it is the
  // last thing that a thread does.
  void Tell();

 private:
  struct Guesser {
    uint32_t peer;
    bool untold;
    int64_t noted_at;  // milliseconds
  };

  // The address to be told next, 0 when there is none; then the turn is over.
  uint32_t TakeUntold();

  const Clock clock_;
  const Teller teller_;
  Mutex lock_;
  std::vector<Guesser> guessers_ ZEM_GUARDED_BY(lock_);
  size_t untold_ ZEM_GUARDED_BY(lock_) = 0;
  bool telling_ ZEM_GUARDED_BY(lock_) = false;
};

}  // namespace zem

#endif  // ZEM_CORE_WRONG_PASSWORDS_H_
