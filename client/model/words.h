// SPDX-License-Identifier: BSD-2-Clause
// Texts as people and agents write them: in pieces, as decimal numbers with or without a unit, and
// the known word that a mistyped one was meant to be.
//
// Threads: any; pure functions.

#ifndef ZEM_CLIENT_MODEL_WORDS_H_
#define ZEM_CLIENT_MODEL_WORDS_H_

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zem::client {

// The one loop over a text in pieces: lines, or what stands between commas.
// Cuts the next piece and its end off the front of *text; the last one needs no end. False when
// nothing is left.
[[nodiscard]] inline bool TakePiece(std::string_view* text, std::string_view end,
                                    std::string_view* piece) {
  if (text->empty()) return false;
  const size_t length = std::min(text->find(end), text->size());
  *piece = text->substr(0, length);
  text->remove_prefix(std::min(length + end.size(), text->size()));
  return true;
}

// An integer between blanks; nothing for anything else.
std::optional<int64_t> ParseWhole(std::string_view text);
// A sign, digits, a decimal point with digits behind it; false for anything else.
[[nodiscard]] bool ParseDecimal(std::string_view text, double* number);

// The multiplier of the letters behind a number; 0 refuses them.
using UnitScale = double (*)(std::string_view unit);

[[nodiscard]] bool ParseWithUnit(std::string_view text, UnitScale scale, double* number);

// Bytes in powers of 1024: "K", "MB", "GiB"; "" and "B" are 1.
double ByteUnit(std::string_view unit);

// "; did you mean "word"?", to be put behind a refusal; empty where no known word is near.
std::string DidYouMean(std::string_view typed, const std::vector<std::string>& known);

}  // namespace zem::client

#endif  // ZEM_CLIENT_MODEL_WORDS_H_
