// SPDX-License-Identifier: BSD-2-Clause
#include "commands/fields.h"

#include <algorithm>
#include <charconv>

#include <fmt/format.h>

#include "commands/command.h"
#include "model/decimal.h"
#include "model/printable.h"
#include "protocol/escape.h"
#include "text/ovstring.h"

namespace zem::client {

namespace {

constexpr size_t kShownBytes = 40;

[[noreturn]] void Refuse(const Reply& reply, size_t number, const char* wanted) {
  if (number > reply.lines.size()) {
    throw BadReply(fmt::format("the reply ends before line {} ({})", number, wanted));
  }
  throw BadReply(fmt::format("line {} of the reply is not {}: \"{}\"", number, wanted,
                             Printable(reply.Line(number).substr(0, kShownBytes))));
}

}  // namespace

std::optional<int64_t> ParseWhole(std::string_view text) {
  text = Trimmed(text);
  int64_t number = 0;
  const auto end = std::from_chars(text.data(), text.data() + text.size(), number);
  if (end.ec != std::errc() || end.ptr != text.data() + text.size()) return std::nullopt;
  return number;
}

std::optional<std::string> ParseStamp(std::string_view text) {
  const auto is_digit = [](char byte) { return byte >= '0' && byte <= '9'; };
  if (text.size() != 14 || !std::all_of(text.begin(), text.end(), is_digit)) return std::nullopt;
  return fmt::format("{}-{}-{}T{}:{}:{}", text.substr(4, 4), text.substr(2, 2), text.substr(0, 2),
                     text.substr(8, 2), text.substr(10, 2), text.substr(12, 2));
}

int64_t IntLine(const Reply& reply, size_t number) {
  const std::optional<int64_t> value = ParseWhole(reply.Line(number));
  if (!value) Refuse(reply, number, "a whole number");
  return *value;
}

double NumberLine(const Reply& reply, size_t number) {
  double value = 0;
  if (!ParseDecimal(Trimmed(reply.Line(number)), &value)) Refuse(reply, number, "a number");
  return value;
}

bool FlagLine(const Reply& reply, size_t number) {
  const std::string_view line = reply.Line(number);
  if (line != "0" && line != "1") Refuse(reply, number, "\"0\" or \"1\"");
  return line == "1";
}

std::string StampLine(const Reply& reply, size_t number) {
  std::optional<std::string> stamp = ParseStamp(reply.Line(number));
  if (!stamp) Refuse(reply, number, "a time stamp");
  return *stamp;
}

std::string UnescapedLine(const Reply& reply, size_t number) {
  if (number > reply.lines.size()) Refuse(reply, number, "a text");
  return std::string(UnescapeLineBreaks(reply.Line(number)).View());
}

}  // namespace zem::client
