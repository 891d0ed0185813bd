// SPDX-License-Identifier: BSD-2-Clause
// The length fields of packets: unsigned, little-endian, 1, 2 or 4 bytes ("digits") wide.
//
// Errors:  a width above 4 is a mistake of ours and ends the process (source "zem_const").
// Threads: any; pure functions.

#ifndef ZEM_PROTOCOL_ZEM_CONST_H_
#define ZEM_PROTOCOL_ZEM_CONST_H_

#include <cstddef>
#include <cstdint>

#include "text/ovstring.h"

namespace zem {

// The first `digits` bytes of `len` in little-endian order.
OvString EncodeLength(uint32_t len, size_t digits);

// Reads `digits` bytes at `bytes`. Deliberate: a width of 3 or 0 reads as 0; no field has one.
uint32_t DecodeLength(const char* bytes, size_t digits);

}  // namespace zem

#endif  // ZEM_PROTOCOL_ZEM_CONST_H_
