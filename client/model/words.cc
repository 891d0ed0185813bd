// SPDX-License-Identifier: BSD-2-Clause
#include "model/words.h"

#include <charconv>
#include <cmath>
#include <cstdlib>

#include <fmt/format.h>

#include "text/ovstring.h"

namespace zem::client {

namespace {

bool AllDigits(std::string_view text) {
  return text.find_first_not_of("0123456789") == std::string_view::npos;
}

// How many single changes turn one word into the other.
size_t Distance(std::string_view a, std::string_view b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t corner = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t change = corner + (a[i - 1] != b[j - 1]);
      corner = row[j];
      row[j] = std::min({change, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[b.size()];
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
  if (power == std::string_view::npos || (!rest.empty() && rest != "B" && rest != "iB")) return 0;
  return static_cast<double>(uint64_t{1} << 10 * (power + 1));
}

std::string DidYouMean(std::string_view typed, const std::vector<std::string>& known) {
  constexpr size_t kNear = 2;
  constexpr size_t kBeginning = 5;  // "--war" may be continued
  const std::string* best = nullptr;
  size_t least = kNear + 1;
  for (const std::string& word : known) {
    const bool begins = typed.size() >= kBeginning && word.starts_with(typed);
    const size_t distance = begins ? kNear : Distance(typed, word);
    if (distance < least && distance < word.size()) {
      best = &word;
      least = distance;
    }
  }
  return best == nullptr ? "" : fmt::format("; did you mean \"{}\"?", *best);
}

}  // namespace zem::client
