// SPDX-License-Identifier: BSD-2-Clause
#include "commands/command_line.h"

#include <algorithm>
#include <stdexcept>

#include <fmt/format.h>

namespace zem::client {

namespace {

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
