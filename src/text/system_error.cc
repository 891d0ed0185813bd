// SPDX-License-Identifier: BSD-2-Clause
#include "text/system_error.h"

#include <cerrno>
#include <cstring>

namespace zem {

namespace {

// Two shapes of strerror_r exist: one returns a status and fills the buffer, one returns the text,
// which may stand elsewhere. Overloading on the result accepts whichever the system has. FreeBSD
// refuses a number that it does not know (EINVAL) and has written a text all the same.
[[maybe_unused]] const char* TextOf(int, const char* buffer) {
  return buffer;
}
[[maybe_unused]] const char* TextOf(const char* text, const char*) {
  return text;
}

}  // namespace

const char* SystemErrorText(int error_number, char* buffer, size_t size) {
  const int saved = errno;
  buffer[0] = '\0';
  const char* text = TextOf(strerror_r(error_number, buffer, size), buffer);
  errno = saved;
  return text;
}

OvString SystemErrorText(int error_number) {
  char buffer[1024];
  return SystemErrorText(error_number, buffer, sizeof(buffer));
}

}  // namespace zem
