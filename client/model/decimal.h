// SPDX-License-Identifier: BSD-2-Clause
// Decimal numbers as people and agents write them, with or without a unit.
//
// Threads: any; pure functions.

#ifndef ZEM_CLIENT_MODEL_DECIMAL_H_
#define ZEM_CLIENT_MODEL_DECIMAL_H_

#include <cstdint>
#include <optional>
#include <string_view>

namespace zem::client {

// An integer between blanks; nothing for anything else.
std::optional<int64_t> ParseWhole(std::string_view text);
// A sign, digits, a decimal point with digits behind it; false for anything else.
[[nodiscard]] bool ParseDecimal(std::string_view text, double* number);

// The multiplier of the letters behind a number; 0 refuses them.
using UnitScale = double (*)(std::string_view unit);

[[nodiscard]] bool ParseWithUnit(std::string_view text, UnitScale scale, double* number);

// Bytes in powers of 1024: "K", "MB", "GiB"; "" and "B" are 1.
double ByteUnit(std::string_view unit);

}  // namespace zem::client

#endif  // ZEM_CLIENT_MODEL_DECIMAL_H_
