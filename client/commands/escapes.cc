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
  std::string decoded;
  while (!text.empty()) {
    const size_t plain = text.find('\\');
    decoded.append(text.substr(0, plain));
    if (plain == std::string_view::npos) break;
    text.remove_prefix(plain + 1);
    const char kind = text.empty() ? '\0' : text.front();
    size_t used = 1;
    switch (kind) {
      case 'n':
        decoded += '\n';
        break;
      case 'r':
        decoded += '\r';
        break;
      case 't':
        decoded += '\t';
        break;
      case '\\':
        decoded += '\\';
        break;
      case 'x':
        decoded += DecodeHex(text.substr(1, 2));
        used = 3;
        break;
      default:
        Refuse(text.substr(0, 1));
    }
    text.remove_prefix(used);
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
