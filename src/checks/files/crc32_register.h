// SPDX-License-Identifier: BSD-2-Clause
// The register of a CRC-32 (reflected polynomial 0xEDB88320) over bytes that arrive in pieces.
//
// Deliberate: the register is reported as it stands, without the inversion that ends the usual
// CRC-32; it is the complement of that. Every value that servers have stored has this form.
// Threads: one at a time.

#ifndef ZEM_CHECKS_FILES_CRC32_REGISTER_H_
#define ZEM_CHECKS_FILES_CRC32_REGISTER_H_

#include <cstdint>
#include <string_view>

namespace zem {

class Crc32Register {
 public:
  void Update(std::string_view bytes);
  uint32_t Value() const { return value_; }

 private:
  uint32_t value_ = 0xFFFFFFFF;
};

}  // namespace zem

#endif  // ZEM_CHECKS_FILES_CRC32_REGISTER_H_
