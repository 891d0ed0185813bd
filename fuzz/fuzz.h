// SPDX-License-Identifier: BSD-2-Clause
// What the fuzz targets share: the way to say that something does not hold.

#ifndef ZEM_FUZZ_FUZZ_H_
#define ZEM_FUZZ_FUZZ_H_

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

#define FUZZ_CHECK(condition)                                                        \
  do {                                                                               \
    if (!(condition)) {                                                              \
      fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
      abort();                                                                       \
    }                                                                                \
  } while (false)

namespace zem {

inline std::string_view Text(const uint8_t* data, size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// Where a target keeps its files: in memory where that is to be had, as thousands a second come and
// go, and a save waits for its disk.
inline std::string PlaceOfSandboxes() {
  const char* wanted = getenv("TMPDIR");
  if (wanted != nullptr && *wanted != '\0') return wanted;
  return access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
}

}  // namespace zem

#endif  // ZEM_FUZZ_FUZZ_H_
