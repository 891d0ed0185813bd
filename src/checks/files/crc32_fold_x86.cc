// SPDX-License-Identifier: BSD-2-Clause
#include "checks/files/crc32_fold.h"

#include <immintrin.h>

#include <cstddef>

namespace zem {

namespace {

// The bytes are the coefficients of a polynomial over {0, 1}, and only its remainder by the CRC's
// polynomial counts. So 128 bits that stand `distance` bits before others may be replaced by their
// product with x^distance, reduced, added to those: one multiplication for each half.

// x^power modulo the polynomial, bits reflected and moved up by one: the product of two reflected
// numbers comes out one bit too low.
constexpr uint64_t PowerOfX(int power) {
  uint32_t remainder = 0x80000000;  // x^0
  for (int i = 0; i < power; ++i) {
    remainder = (remainder & 1) != 0 ? (remainder >> 1) ^ 0xEDB88320 : remainder >> 1;
  }
  return uint64_t{remainder} << 1;
}

constexpr int kLanes = 4;  // folded side by side, to keep the multiplier busy
constexpr size_t kStep = 16 * kLanes;

// Multipliers of the low and the high half of 128 bits, for a distance in bits. The low half holds
// the earlier bytes and is 64 bits further away; 32 bits are in the product's own position.
struct Distance {
  uint64_t low;
  uint64_t high;
};
constexpr Distance DistanceOf(int bits) {
  return {.low = PowerOfX(bits + 32), .high = PowerOfX(bits - 32)};
}

constexpr Distance kNextStep = DistanceOf(128 * kLanes);
constexpr Distance kNextLane = DistanceOf(128);

__attribute__((target("pclmul,sse4.1"))) inline __m128i Multipliers(const Distance& distance) {
  return _mm_set_epi64x(static_cast<long long>(distance.high),
                        static_cast<long long>(distance.low));
}

__attribute__((target("pclmul,sse4.1"))) inline __m128i Fold(__m128i earlier, __m128i later,
                                                             __m128i multipliers) {
  const __m128i low = _mm_clmulepi64_si128(earlier, multipliers, 0x00);
  const __m128i high = _mm_clmulepi64_si128(earlier, multipliers, 0x11);
  return _mm_xor_si128(_mm_xor_si128(low, high), later);
}

__attribute__((target("pclmul,sse4.1"))) inline __m128i Load(const char* bytes, size_t lane) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes) + lane);
}

__attribute__((target("pclmul,sse4.1"))) void FoldSteps(uint32_t value, std::string_view* bytes,
                                                        FoldedBytes* folded) {
  const char* at = bytes->data();
  const char* end = at + bytes->size() / kStep * kStep;
  __m128i lanes[kLanes];
  for (size_t i = 0; i < kLanes; ++i) lanes[i] = Load(at, i);
  lanes[0] = _mm_xor_si128(lanes[0], _mm_cvtsi32_si128(static_cast<int>(value)));
  const __m128i next_step = Multipliers(kNextStep);
  for (at += kStep; at != end; at += kStep) {
    for (size_t i = 0; i < kLanes; ++i) lanes[i] = Fold(lanes[i], Load(at, i), next_step);
  }
  const __m128i next_lane = Multipliers(kNextLane);
  for (size_t i = 1; i < kLanes; ++i) lanes[i] = Fold(lanes[i - 1], lanes[i], next_lane);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(folded->bytes), lanes[kLanes - 1]);
  bytes->remove_prefix(bytes->size() / kStep * kStep);
}

}  // namespace

bool FoldCrc32(uint32_t value, std::string_view* bytes, FoldedBytes* folded) {
  if (bytes->size() < kStep || __builtin_cpu_supports("pclmul") == 0 ||
      __builtin_cpu_supports("sse4.1") == 0) {
    return false;
  }
  FoldSteps(value, bytes, folded);
  return true;
}

}  // namespace zem
