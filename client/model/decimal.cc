// SPDX-License-Identifier: BSD-2-Clause
#include "model/decimal.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "text/ovstring.h"

namespace zem::client {

namespace {

bool AllDigits(std::string_view text) {
  return text.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace

std::optional<int64_t> ParseWhole(std::string_view text) {
  text = Trimmed(text);
  int64_t number = 0;
  const auto end = std::from_chars(text.data(), text.data() + text.size(), number);
  if (end.ec != std::errc() || end.ptr != text.data() + text.size()) return std::nullopt;
  return number;
}

bool ParseDecimal(std::string_view text, double* number) {
  // Checked by hand: strtod alone would also read blanks, exponents, "inf" and hexadecimal.
  std::string_view digits = text;
  if (!digits.empty() && (digits.front() == '-' || digits.front() == '+')) digits.remove_prefix(1);
  const size_t point = digits.find('.');
  const std::string_view whole = digits.substr(0, point);
  const std::string_view fraction =
      point == std::string_view::npos ? std::string_view("0") : digits.substr(point + 1);
  if (whole.empty() || !AllDigits(whole) || fraction.empty() || !AllDigits(fraction)) return false;
  *number = strtod(std::string(text).c_str(), nullptr);
  return std::isfinite(*number);
}

bool ParseWithUnit(std::string_view text, UnitScale scale, double* number) {
  const size_t end = std::min(text.find_first_not_of("+-.0123456789"), text.size());
  const double unit = scale(text.substr(end));
  if (unit == 0 || !ParseDecimal(text.substr(0, end), number)) return false;
  *number *= unit;
  return true;
}

double ByteUnit(std::string_view unit) {
  static constexpr std::string_view kLetters = "kmgtp";
  if (unit.empty() || unit == "B") return 1;
  const size_t power = kLetters.find(LowerAscii(unit[0]));
  const std::string_view rest = unit.substr(1);
  if (power == std::string_view::npos || (rest != "" && rest != "B" && rest != "iB")) return 0;
  return static_cast<double>(uint64_t{1} << 10 * (power + 1));
}

}  // namespace zem::client
