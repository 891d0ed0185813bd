// SPDX-License-Identifier: BSD-2-Clause
// The one loop over a text in pieces: lines, or what stands between commas.
//
// Threads: any; a pure function.

#ifndef ZEM_CLIENT_MODEL_PIECES_H_
#define ZEM_CLIENT_MODEL_PIECES_H_

#include <algorithm>
#include <string_view>

namespace zem::client {

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

}  // namespace zem::client

#endif  // ZEM_CLIENT_MODEL_PIECES_H_
