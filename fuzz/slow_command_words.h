// SPDX-License-Identifier: BSD-2-Clause
// A splitter of command lines that is slow and obvious, to compare the real one with.

#ifndef ZEM_FUZZ_SLOW_COMMAND_WORDS_H_
#define ZEM_FUZZ_SLOW_COMMAND_WORDS_H_

#include <string>
#include <vector>

namespace zem {

// By the rules, one character at a time; without the limits on words and bytes.
inline std::vector<std::string> SplitSlowly(const std::string& line) {
  std::vector<std::string> words;
  std::string word;
  char state = ' ';  // between words; 'w' in a plain word; or the quote that ends the word
  for (const char c : line) {
    if (state == ' ') {
      if (c == ' ') continue;
      const bool quote = c == '\'' || c == '"';
      word = quote ? "" : std::string(1, c);
      state = quote ? c : 'w';
    } else if (state == 'w' ? c == ' ' || c == '\t' : c == state) {
      words.push_back(word);
      state = ' ';
    } else {
      word += c;
    }
  }
  if (state != ' ') words.push_back(word);
  return words;
}

// The words that fit: at most 23, and 1,024 bytes of them with a zero behind each.
inline std::vector<std::string> SplitSlowlyWithinLimits(const std::string& line) {
  std::vector<std::string> kept;
  size_t bytes = 0;
  for (const std::string& word : SplitSlowly(line)) {
    bytes += word.size() + 1;
    if (kept.size() == 23 || bytes > 1024) break;
    kept.push_back(word);
  }
  return kept;
}

}  // namespace zem

#endif  // ZEM_FUZZ_SLOW_COMMAND_WORDS_H_
