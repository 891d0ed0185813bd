// SPDX-License-Identifier: BSD-2-Clause
// A wait that other threads, and a person's Ctrl-C, can end.
//
// Threads: one waits, any may wake it. One of these at a time.

#ifndef ZEM_CLIENT_APP_INTERRUPT_H_
#define ZEM_CLIENT_APP_INTERRUPT_H_

#include <signal.h>

#include "core/unique_fd.h"
#include "wire/deadline.h"

namespace zem::client {

inline constexpr Milliseconds kLongestWait{60'000};

class Interrupt {
 public:
  // With `noted` the first Ctrl-C is told by Wait, where a parent has not switched it off; the
  // second ends the program as ever, even one that is stuck in its output.
  explicit Interrupt(bool noted);
  ~Interrupt();
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;

  static void Wake();
  // True once the person has interrupted; false when woken, or after this time or the longest one.
  [[nodiscard]] bool Wait(Milliseconds most) const;

 private:
  UniqueFd woken_;
  UniqueFd waking_;
  struct sigaction before_ = {};
};

}  // namespace zem::client

#endif  // ZEM_CLIENT_APP_INTERRUPT_H_
