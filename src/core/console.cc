// SPDX-License-Identifier: BSD-2-Clause
#include "core/console.h"

#include <cstdarg>
#include <cstdio>

namespace zem {

void Print(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vprintf(format, arguments);
  va_end(arguments);
  fflush(stdout);
}

}  // namespace zem
