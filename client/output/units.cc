// SPDX-License-Identifier: BSD-2-Clause
#include "output/units.h"

#include <cmath>

#include <fmt/format.h>

#include "model/printable.h"
#include "plugin/check.h"

namespace zem::client {

std::string ReadableBytes(double bytes) {
  static constexpr const char* kUnits[] = {"KiB", "MiB", "GiB", "TiB", "PiB"};
  if (std::abs(bytes) < 1024) return fmt::format("{:.0f} B", bytes);
  double shown = bytes / 1024;
  size_t unit = 0;
  while (std::abs(shown) >= 1023.95 && unit + 1 < std::size(kUnits)) {
    shown /= 1024;
    ++unit;
  }
  return fmt::format("{:.1f} {}", shown, kUnits[unit]);
}

std::string ReadableMillis(double millis) {
  const double size = std::abs(millis);
  if (size >= 999.5) return fmt::format("{:.1f} s", millis / 1000);
  const bool whole = size >= 9.95 || size == std::floor(size);
  return fmt::format("{:.{}f} ms", millis, whole ? 0 : 2);
}

std::string ReadableMinutes(int64_t minutes) {
  if (std::abs(minutes) < 60) return fmt::format("{} min", minutes);
  const int64_t hours = minutes / 60;
  if (std::abs(hours) < 24) return fmt::format("{} h {} min", hours, std::abs(minutes % 60));
  return fmt::format("{} d {} h", hours / 24, std::abs(hours % 24));
}

std::string ReadableLeaf(const Value& value) {
  if (const auto* flag = value.As<bool>()) return *flag ? "yes" : "no";
  if (const auto* text = value.As<std::string>()) {
    std::string shown = Printable(*text);
    if (value.HowShown() == Form::kStamp && shown.size() > 10) shown[10] = ' ';
    return shown;
  }
  if (value.As<int64_t>() == nullptr && value.As<double>() == nullptr) return "";
  const double number = value.AsNumber();
  switch (value.HowShown()) {
    case Form::kBytes:
      return ReadableBytes(number);
    case Form::kMilliseconds:
      return ReadableMillis(number);
    case Form::kMinutes:
      return ReadableMinutes(static_cast<int64_t>(number));
    case Form::kPercent:
      return fmt::format("{:.1f} %", number);
    default:
      return PlainNumber(number);
  }
}

}  // namespace zem::client
