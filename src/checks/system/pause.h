// SPDX-License-Identifier: BSD-2-Clause
// Lets the calling thread sleep.
//
// Units:   what the name says; a value of 0 or less is no pause at all. A signal does not shorten
//          the pause.
// Threads: any.

#ifndef ZEM_CHECKS_SYSTEM_PAUSE_H_
#define ZEM_CHECKS_SYSTEM_PAUSE_H_

#include <cstdint>

namespace zem {

void PauseMicroseconds(int64_t microseconds);
inline void PauseMilliseconds(int64_t milliseconds) {
  PauseMicroseconds(milliseconds * 1000);
}
inline void PauseSeconds(int32_t seconds) {
  PauseMicroseconds(int64_t{seconds} * 1000000);
}

}  // namespace zem

#endif  // ZEM_CHECKS_SYSTEM_PAUSE_H_
