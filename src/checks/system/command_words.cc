// SPDX-License-Identifier: BSD-2-Clause
#include "checks/system/command_words.h"

#include <cstring>

namespace zem {

namespace {

// Takes the first word off the front of `*rest`, which begins with no space and is not empty.
std::string_view TakeWord(std::string_view* rest) {
  const char first = rest->front();
  std::string_view word;
  size_t end;
  if (first == '\'' || first == '"') {
    rest->remove_prefix(1);
    end = rest->find(first);
    word = rest->substr(0, end);
  } else {
    // Deliberate: a tab ends a word but is never skipped between words, so one that follows a
    // delimiter becomes the first character of the next word. The search starts behind it.
    end = rest->find_first_of(" \t", 1);
    word = rest->substr(0, end);
  }
  rest->remove_prefix(end == std::string_view::npos ? rest->size() : end + 1);
  return word;
}

}  // namespace

CommandWords::CommandWords(std::string_view command_line) {
  std::string_view rest = command_line;
  while (!rest.empty() && count_ < kMostWords) {
    if (rest.front() == ' ') {
      rest.remove_prefix(1);
    } else if (!Store(TakeWord(&rest))) {
      break;
    }
  }
}

bool CommandWords::Store(std::string_view word) {
  if (word.size() >= kTextBytes - used_) return false;
  char* copy = text_ + used_;
  if (!word.empty()) memcpy(copy, word.data(), word.size());
  copy[word.size()] = '\0';
  words_[count_++] = copy;
  used_ += word.size() + 1;
  return true;
}

}  // namespace zem
