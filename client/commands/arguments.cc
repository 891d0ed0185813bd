// SPDX-License-Identifier: BSD-2-Clause
#include "commands/arguments.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>

#include <fmt/format.h>

#include "model/words.h"

namespace zem::client {

namespace {

[[noreturn]] void Refuse(std::string_view name, std::string_view value, std::string_view wanted) {
  throw std::invalid_argument(fmt::format("{}: \"{}\" is not {}", name, value, wanted));
}

}  // namespace

int64_t WholeNumber(std::string_view name, std::string_view text, int64_t least, int64_t most) {
  int64_t number = 0;
  const auto end = std::from_chars(text.data(), text.data() + text.size(), number);
  if (end.ec != std::errc() || end.ptr != text.data() + text.size() || number < least ||
      number > most) {
    Refuse(name, text, fmt::format("a whole number from {} to {}", least, most));
  }
  return number;
}

bool Arguments::Has(std::string_view name) const {
  return values_.find(name) != values_.end();
}

std::string Arguments::Text(std::string_view name, std::string_view otherwise) const {
  const std::vector<std::string>& values = All(name);
  return values.empty() ? std::string(otherwise) : values.front();
}

const std::vector<std::string>& Arguments::All(std::string_view name) const {
  static const std::vector<std::string> kNone;
  const auto found = values_.find(name);
  return found == values_.end() ? kNone : found->second;
}

int64_t Arguments::Int(std::string_view name, int64_t otherwise, int64_t least,
                       int64_t most) const {
  return Has(name) ? WholeNumber(name, Text(name), least, most) : otherwise;
}

int64_t Arguments::Millis(std::string_view name, int64_t otherwise) const {
  if (!Has(name)) return otherwise;
  const std::string text = Text(name);
  constexpr double kMost = std::numeric_limits<int32_t>::max() / 1000.0;
  double seconds = 0;
  if (!ParseDecimal(text, &seconds) || seconds < 0 || seconds > kMost) {
    Refuse(name, text, "a number of seconds");
  }
  return std::llround(seconds * 1000);
}

int64_t Arguments::Bytes(std::string_view name, int64_t otherwise, int64_t most) const {
  if (!Has(name)) return otherwise;
  const std::string text = Text(name);
  double bytes = 0;
  if (!ParseWithUnit(text, ByteUnit, &bytes) || bytes < 0) {
    Refuse(name, text, "a number of bytes (units K, M, G, T)");
  }
  if (bytes > static_cast<double>(most)) {
    Refuse(name, text,
           fmt::format("at most {} bytes, the largest number this request carries", most));
  }
  return static_cast<int64_t>(bytes);
}

}  // namespace zem::client
