// SPDX-License-Identifier: BSD-2-Clause
// Whether a text occurs in a file, however large.
//
// Shapes:  text and file are bytes, zero bytes included. Only A-Z is folded; only ASCII letters and
//          digits belong to words.
// Units:   time is linear in the file for any text and any contents; memory is bounded by three
//          times the text, or 128 KiB where that is more (several times the text for contents
//          made to slow the search down).
// Threads: any.

#ifndef ZEM_CHECKS_FILES_TEXT_SEARCH_H_
#define ZEM_CHECKS_FILES_TEXT_SEARCH_H_

#include <cstdint>
#include <string_view>

#include "text/ovstring.h"

namespace zem {

// The answer to a question about the contents of files.
enum class Answer : uint8_t { kNo, kYes, kFailed };

struct TextSearchOptions {
  bool case_sensitive = true;
  // An occurrence counts only without a letter or digit right before and behind it. Deliberate: its
  // neighbours are looked for inside a window of three text lengths that moves on by two, so an
  // occurrence that begins at a multiple of two text lengths has one neighbour in each of two
  // windows and counts when either is none of a word. Answers that servers have stored depend on
  // it.
  bool whole_word = false;
};

// kFailed for an empty text or path and for a file that cannot be opened or read.
Answer FindTextInFile(const OvString& path, std::string_view text,
                      const TextSearchOptions& options);

}  // namespace zem

#endif  // ZEM_CHECKS_FILES_TEXT_SEARCH_H_
