// SPDX-License-Identifier: BSD-2-Clause
#include "commands/escapes.h"

#include <charconv>
#include <stdexcept>

#include <fmt/format.h>

#include "wire/request_text.h"

namespace zem::client {

namespace {

[[noreturn]] void Refuse(std::string_view escape) {
  throw std::invalid_argument(
      fmt::format("\"\\{}\" is none of \\r, \\n, \\t, \\\\ and \\xHH", escape));
}

char DecodeHex(std::string_view digits) {
  unsigned value = 0;
  const auto end = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
  if (digits.size() != 2 || end.ec != std::errc() || end.ptr != digits.data() + 2) {
    Refuse("x" + std::string(digits));
  }
  return static_cast<char>(value);
}

}  // namespace

std::string DecodeEscapes(std::string_view text) {
  static constexpr std::string_view kLetters = "nrt\\";
  static constexpr std::string_view kMeant = "\n\r\t\\";
  std::string decoded;
  while (!text.empty()) {
    const size_t plain = text.find('\\');
    decoded.append(text.substr(0, plain));
    if (plain == std::string_view::npos) break;
    text.remove_prefix(plain + 1);
    const size_t known = text.empty() ? std::string_view::npos : kLetters.find(text.front());
    if (known != std::string_view::npos) {
      decoded += kMeant[known];
      text.remove_prefix(1);
    } else if (text.starts_with('x')) {
      decoded += DecodeHex(text.substr(1, 2));
      text.remove_prefix(3);
    } else {
      Refuse(text.substr(0, 1));
    }
  }
  return decoded;
}

void WarnOfEscapes(std::string_view text, std::string_view what,
                   std::vector<std::string>* warnings) {
  if (!LosesInEscaping(text)) return;
  warnings->push_back(
      fmt::format("{} holds \"%0A\" or \"%0D\", which arrives at the agent as a line break", what));
}

}  // namespace zem::client
