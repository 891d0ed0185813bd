// SPDX-License-Identifier: BSD-2-Clause
// Results as text. For people: aligned labels and values, lists as columns. For programs: JSON.
//
// Everything has been made safe for a terminal.
// Threads: any; pure functions.

#ifndef ZEM_CLIENT_OUTPUT_TABLE_H_
#define ZEM_CLIENT_OUTPUT_TABLE_H_

#include <cstddef>
#include <string>
#include <vector>

#include "model/value.h"
#include "output/terminal.h"

namespace zem::client {

struct Cell {
  std::string text;
  Tone tone = Tone::kPlain;
  bool right = false;  // aligned
};

using Row = std::vector<Cell>;

// How wide the columns have to be. The first row says how many there are.
std::vector<size_t> Widths(const std::vector<Row>& rows);

// A line: columns two blanks apart, the last one not padded. What that says beyond `room` columns
// goes on below it, between words, or below the whole row where little room is left for it.
std::string RowText(const Row& row, const std::vector<size_t>& widths, const Style& style,
                    size_t room = SIZE_MAX);

// All of them, the first one bold: it is the header.
std::string Columned(std::vector<Row> rows, const Style& style, size_t room = SIZE_MAX);

// A command's whole result.
std::string ReadableResult(const Value& result, const Style& style);

// As JSON, indented. Bytes that are no valid UTF-8 become U+FFFD, and control characters and the
// marks that reorder or hide text are escaped. No final line feed.
std::string ToJson(const Value& value);

}  // namespace zem::client

#endif  // ZEM_CLIENT_OUTPUT_TABLE_H_
