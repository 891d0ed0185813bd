// SPDX-License-Identifier: BSD-2-Clause
// How the tables of the file checks spell requests and replies.

#ifndef ZEM_TESTS_SPELLED_H_
#define ZEM_TESTS_SPELLED_H_

#include <string>

namespace zem {

// A text with "|" for the end of a line and "~" for `folder`, written out.
inline std::string Spelled(std::string text, const std::string& folder) {
  for (size_t at = 0; (at = text.find_first_of("|~", at)) != std::string::npos;) {
    const std::string with = text[at] == '|' ? "\n" : folder;
    text.replace(at, 1, with);
    at += with.size();
  }
  return text;
}

}  // namespace zem

#endif  // ZEM_TESTS_SPELLED_H_
