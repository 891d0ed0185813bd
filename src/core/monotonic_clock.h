// SPDX-License-Identifier: BSD-2-Clause
// Milliseconds since some moment before the start. Not the time of day: that can be set, and would
// drop peers that just came or keep silent ones.

#ifndef ZEM_CORE_MONOTONIC_CLOCK_H_
#define ZEM_CORE_MONOTONIC_CLOCK_H_

#include <cstdint>
#include <ctime>

namespace zem {

inline int64_t MonotonicMilliseconds() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

}  // namespace zem

#endif  // ZEM_CORE_MONOTONIC_CLOCK_H_
