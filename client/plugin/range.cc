// SPDX-License-Identifier: BSD-2-Clause
#include "plugin/check.h"

#include <cmath>
#include <stdexcept>

#include <fmt/format.h>

#include "model/words.h"

namespace zem::client {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

double ParseEnd(std::string_view text, std::string_view whole, UnitScale scale) {
  double number = 0;
  if (!ParseWithUnit(text, scale, &number)) {
    throw std::invalid_argument(fmt::format("\"{}\" is not a threshold range", whole));
  }
  return number;
}

double NoUnit(std::string_view unit) {
  return unit.empty() ? 1 : 0;
}

double SecondsUnit(std::string_view unit) {
  if (unit.empty() || unit == "s") return 1;
  if (unit == "ms") return 0.001;
  if (unit == "m" || unit == "min") return 60;
  if (unit == "h") return 3600;
  return unit == "d" ? 86400 : 0;
}

double MinutesUnit(std::string_view unit) {
  return unit.empty() ? 60 : SecondsUnit(unit);
}

double PercentUnit(std::string_view unit) {
  return unit.empty() || unit == "%" ? 1 : 0;
}

}  // namespace

bool Range::Alerts(double value) const {
  if (std::isnan(value)) return true;
  const bool within = value >= low && value <= high;
  return within == inside;
}

std::string Range::Text() const {
  std::string text = inside ? "@" : "";
  if (low == -kInfinity) {
    text += "~:";
  } else if (low != 0 || high == kInfinity) {
    text += PlainNumber(low) + ':';
  }
  if (high != kInfinity) text += PlainNumber(high);
  return text;
}

Range ParseRange(std::string_view text, UnitScale scale) {
  const std::string_view whole = text;
  Range range;
  if (!text.empty() && text.front() == '@') {
    range.inside = true;
    text.remove_prefix(1);
  }
  const size_t colon = text.find(':');
  if (colon == std::string_view::npos) {
    range.high = ParseEnd(text, whole, scale);
  } else {
    const std::string_view low = text.substr(0, colon);
    const std::string_view high = text.substr(colon + 1);
    if (low == "~") {
      range.low = -kInfinity;
    } else if (!low.empty()) {
      range.low = ParseEnd(low, whole, scale);
    }
    if (!high.empty()) range.high = ParseEnd(high, whole, scale);
  }
  if (range.low > range.high) {
    throw std::invalid_argument(fmt::format("\"{}\": the range ends before it begins", whole));
  }
  return range;
}

Range PlainRange(std::string_view text) {
  return ParseRange(text, NoUnit);
}

Range PercentRange(std::string_view text) {
  return ParseRange(text, PercentUnit);
}

Range BytesRange(std::string_view text) {
  return ParseRange(text, ByteUnit);
}

Range SecondsRange(std::string_view text) {
  return ParseRange(text, SecondsUnit);
}

Range MinutesRange(std::string_view text) {
  return ParseRange(text, MinutesUnit);
}

Range FreeSpaceRange(std::string_view text) {
  const bool percent = text.find('%') != std::string_view::npos;
  const bool single = text.find(':') == std::string_view::npos && !text.starts_with('@');
  Range range = ParseRange(text, percent ? PercentUnit : ByteUnit);
  range.percent = percent;
  if (single) {
    range.low = range.high;
    range.high = kInfinity;
  }
  return range;
}

std::string PlainNumber(double number) {
  if (number == std::floor(number) && std::abs(number) < 1e18) return fmt::format("{:.0f}", number);
  std::string text = fmt::format("{:.6f}", number);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text;
}

}  // namespace zem::client
