// SPDX-License-Identifier: BSD-2-Clause
// The part of the CRC-32 that depends on the processor. One file for each kind defines it.

#ifndef ZEM_CHECKS_FILES_CRC32_FOLD_H_
#define ZEM_CHECKS_FILES_CRC32_FOLD_H_

#include <cstdint>
#include <string_view>

namespace zem {

// Sixteen bytes that stand for many: continuing with them from a register of zero leaves the
// register as continuing with the whole would have left it.
struct FoldedBytes {
  unsigned char bytes[16];
};

// Cuts what it can fold off the front of `*bytes`, the register `value` before them included.
// False when there are too few bytes or the processor cannot multiply without carry; nothing is
// cut then.
bool FoldCrc32(uint32_t value, std::string_view* bytes, FoldedBytes* folded);

}  // namespace zem

#endif  // ZEM_CHECKS_FILES_CRC32_FOLD_H_
