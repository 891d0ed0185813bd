// SPDX-License-Identifier: BSD-2-Clause
#include "checks/files/crc32_register.h"

#include <array>
#include <cstddef>

namespace zem {

namespace {

constexpr size_t kSlices = 16;
using Table = std::array<uint32_t, 256>;

// The first table defines the CRC: what one byte does to a register of zero. Table k is what the
// byte does when k zero bytes follow it, so that sixteen bytes take sixteen independent look-ups.
constexpr std::array<Table, kSlices> MakeTables() {
  std::array<Table, kSlices> tables{};
  for (uint32_t byte = 0; byte < 256; ++byte) {
    uint32_t value = byte;
    for (int bit = 0; bit < 8; ++bit) {
      value = (value & 1) != 0 ? (value >> 1) ^ 0xEDB88320 : value >> 1;
    }
    tables[0][byte] = value;
  }
  for (size_t k = 1; k < kSlices; ++k) {
    for (size_t byte = 0; byte < 256; ++byte) {
      const uint32_t value = tables[k - 1][byte];
      tables[k][byte] = (value >> 8) ^ tables[0][value & 0xFF];
    }
  }
  return tables;
}

constexpr std::array<Table, kSlices> kTables = MakeTables();

uint32_t UpdateByte(uint32_t value, unsigned char byte) {
  return (value >> 8) ^ kTables[0][(value ^ byte) & 0xFF];
}

uint32_t UpdateSlices(uint32_t value, const unsigned char* bytes) {
  uint32_t result = 0;
  for (size_t i = 0; i < kSlices; ++i) {
    const uint32_t before = i < 4 ? value >> (8 * i) : 0;
    result ^= kTables[kSlices - 1 - i][(bytes[i] ^ before) & 0xFF];
  }
  return result;
}

}  // namespace

void Crc32Register::Update(std::string_view bytes) {
  const auto* at = reinterpret_cast<const unsigned char*>(bytes.data());
  size_t left = bytes.size();
  for (; left >= kSlices; left -= kSlices, at += kSlices) value_ = UpdateSlices(value_, at);
  for (; left > 0; --left, ++at) value_ = UpdateByte(value_, *at);
}

}  // namespace zem
