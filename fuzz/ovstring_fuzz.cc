// SPDX-License-Identifier: BSD-2-Clause
// The bytes choose operations; the text type and an ordinary string have to agree after each.
#include <string>

#include "fuzz.h"
#include "ovstring_model.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const uint8_t* const end = data + size;
  const size_t limit = *data % 4 == 0 ? size_t{*data} : std::string::npos;
  ++data;
  zem::OvStringPair pair(limit, [&](size_t below) { return data < end ? *data++ % below : 0; });
  constexpr size_t kEnough = 4096;  // replacements can multiply a text with every step
  while (data < end && pair.Length() < kEnough) FUZZ_CHECK(pair.Step());
  return 0;
}
