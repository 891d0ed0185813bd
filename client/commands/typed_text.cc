// SPDX-License-Identifier: BSD-2-Clause
#include "commands/typed_text.h"

#include <algorithm>
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

// Cuts the first word off the front; false when there is none.
bool TakeWord(std::string_view* rest, std::string_view* word) {
  rest->remove_prefix(std::min(rest->find_first_not_of(' '), rest->size()));
  if (rest->empty()) return false;
  const char first = rest->front();
  const bool quoted = first == '"' || first == '\'';
  if (quoted) rest->remove_prefix(1);
  const size_t end =
      std::min(quoted ? rest->find(first) : rest->find_first_of(" \t"), rest->size());
  *word = rest->substr(0, end);
  rest->remove_prefix(std::min(end + 1, rest->size()));
  return true;
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

std::string QuoteWord(std::string_view word) {
  const bool plain = !word.empty() && word.find_first_of(" \t") == std::string_view::npos &&
                     word.front() != '"' && word.front() != '\'';
  if (plain) return std::string(word);
  for (const char quote : {'\'', '"'}) {
    if (word.find(quote) == std::string_view::npos) {
      return std::string(1, quote).append(word).append(1, quote);
    }
  }
  throw std::invalid_argument(fmt::format(
      "the agent cannot be told a word with blanks and both kinds of quotes: {}", word));
}

std::string QuoteWords(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words) {
    if (!line.empty()) line += ' ';
    line += QuoteWord(word);
  }
  return line;
}

std::string JoinCommandLine(const std::vector<std::string>& words) {
  return words.size() == 1 ? words.front() : QuoteWords(words);
}

void CheckCommandLine(std::string_view line) {
  size_t words = 0;
  size_t bytes = 0;
  std::string_view word;
  while (TakeWord(&line, &word)) {
    ++words;
    bytes += word.size() + 1;
  }
  if (words > kMostWords || bytes > kWordBytes) {
    throw std::invalid_argument(
        fmt::format("the command line has {} words of {} bytes; the agent takes {} words of {}",
                    words, bytes, kMostWords, kWordBytes));
  }
}

}  // namespace zem::client
