// SPDX-License-Identifier: BSD-2-Clause
// A command line cut into the argument vector of a program. No shell: no variables, no globs, no
// escapes.
//
// Shapes:  at most 23 words, whose texts take at most 1,024 bytes with their terminating zeros;
//          what is beyond is left out, and the words before it are run.
// Threads: constant once made. The words point into the object, so it neither moves nor copies.

#ifndef ZEM_CHECKS_SYSTEM_COMMAND_WORDS_H_
#define ZEM_CHECKS_SYSTEM_COMMAND_WORDS_H_

#include <cstddef>
#include <string_view>

namespace zem {

class CommandWords {
 public:
  explicit CommandWords(std::string_view command_line);
  CommandWords(const CommandWords&) = delete;
  CommandWords& operator=(const CommandWords&) = delete;

  size_t Count() const { return count_; }
  // Ends in a null pointer.
  char* const* Vector() const { return words_; }

 private:
  static constexpr size_t kMostWords = 23;
  static constexpr size_t kTextBytes = 1024;

  bool Store(std::string_view word);

  size_t count_ = 0;
  size_t used_ = 0;
  char* words_[kMostWords + 1] = {};
  char text_[kTextBytes];
};

}  // namespace zem

#endif  // ZEM_CHECKS_SYSTEM_COMMAND_WORDS_H_
