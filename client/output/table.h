// SPDX-License-Identifier: BSD-2-Clause
// Results as text for people: aligned labels and values, lists as columns.
//
// Everything shown has been made safe for a terminal.
// Threads: any; pure functions.

#ifndef ZEM_CLIENT_OUTPUT_TABLE_H_
#define ZEM_CLIENT_OUTPUT_TABLE_H_

#include <string>
#include <vector>

#include "model/value.h"
#include "output/style.h"

namespace zem::client {

struct Cell {
  std::string text;
  Tone tone = Tone::kPlain;
  bool right = false;  // aligned
};

// Columns under a header, two blanks apart; the last one is not padded.
std::string Columned(const std::vector<std::string>& header,
                     const std::vector<std::vector<Cell>>& rows, const Style& style);

// A command's whole result.
std::string ReadableResult(const Value& result, const Style& style);

}  // namespace zem::client

#endif  // ZEM_CLIENT_OUTPUT_TABLE_H_
