// SPDX-License-Identifier: BSD-2-Clause
// What the fuzz targets share: the way to say that something does not hold.

#ifndef ZEM_FUZZ_FUZZ_H_
#define ZEM_FUZZ_FUZZ_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
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

}  // namespace zem

#endif  // ZEM_FUZZ_FUZZ_H_
