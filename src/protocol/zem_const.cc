// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/zem_const.h"

#include "text/check.h"

namespace zem {

OvString EncodeLength(uint32_t len, size_t digits) {
  if (digits > sizeof(len)) CheckFailed("digits<=sizeof(len)", "EncodeLength", "zem_const");
  char bytes[sizeof(len)];
  for (size_t i = 0; i < digits; ++i) bytes[i] = static_cast<char>(len >> (8 * i) & 0xFF);
  return std::string_view(bytes, digits);
}

uint32_t DecodeLength(const char* bytes, size_t digits) {
  if (digits > sizeof(int)) CheckFailed("digits<=sizeof(int)", "DecodeLength", "zem_const");
  if (digits == 0 || digits == 3) return 0;
  uint32_t value = 0;
  for (size_t i = 0; i < digits; ++i) {
    value |= static_cast<uint32_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
  }
  return value;
}

}  // namespace zem
