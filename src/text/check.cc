// SPDX-License-Identifier: BSD-2-Clause
#include "text/check.h"

#include <cstdio>
#include <cstdlib>

namespace zem {

void CheckFailed(const char* condition, const char* function, const char* source) {
  fprintf(stderr, "Assertion failed: (%s), function %s, source %s\n", condition, function, source);
  fflush(stderr);
  abort();
}

}  // namespace zem
