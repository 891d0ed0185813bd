// SPDX-License-Identifier: BSD-2-Clause
#include "text/numbers.h"

#include <cstdlib>
#include <limits>

#include "text/ovstring.h"

namespace zem {

namespace {

bool IsSpace(char byte) {
  return byte == ' ' || (byte >= '\t' && byte <= '\r');
}
bool IsDigit(char byte) {
  return byte >= '0' && byte <= '9';
}

}  // namespace

int64_t ParseInt64(std::string_view text) {
  size_t i = 0;
  while (i < text.size() && IsSpace(text[i])) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) negative = text[i++] == '-';
  // The value is gathered below zero, where the range is one larger.
  int64_t value = 0;
  for (; i < text.size() && IsDigit(text[i]); ++i) {
    if (__builtin_mul_overflow(value, 10, &value) ||
        __builtin_sub_overflow(value, text[i] - '0', &value)) {
      return negative ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
    }
  }
  if (negative) return value;
  return value == std::numeric_limits<int64_t>::min() ? std::numeric_limits<int64_t>::max()
                                                      : -value;
}

int32_t ParseInt(std::string_view text) {
  constexpr int64_t kLow = std::numeric_limits<int32_t>::min();
  constexpr int64_t kHigh = std::numeric_limits<int32_t>::max();
  const int64_t value = ParseInt64(text);
  return static_cast<int32_t>(value < kLow ? kLow : value > kHigh ? kHigh : value);
}

double ParseFloat(std::string_view text) {
  return strtod(OvString(text).CStr(), nullptr);
}

bool IsNumeric(std::string_view text) {
  for (const char byte : text) {
    if (!IsDigit(byte) && byte != '-') return false;
  }
  return true;
}

}  // namespace zem
