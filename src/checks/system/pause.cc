// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/pause.h"

#include <cerrno>
#include <ctime>

namespace zem {

void PauseMicroseconds(int64_t microseconds) {
  if (microseconds <= 0) return;
  timespec left = {};
  left.tv_sec = static_cast<time_t>(microseconds / 1000000);
  left.tv_nsec = static_cast<long>(microseconds % 1000000 * 1000);
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

}  // namespace zem
