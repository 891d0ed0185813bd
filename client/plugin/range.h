// SPDX-License-Identifier: BSD-2-Clause
// Threshold ranges as monitoring plugins write them.
//
//   10      alert outside 0 to 10          5:      alert below 5
//   ~:10    alert above 10                 5:10    alert outside 5 to 10
//   @5:10   alert inside 5 to 10, both ends included
//
// Errors:  std::invalid_argument, with a text for the person who typed it.
// Threads: as any value.

#ifndef ZEM_CLIENT_PLUGIN_RANGE_H_
#define ZEM_CLIENT_PLUGIN_RANGE_H_

#include <limits>
#include <string>
#include <string_view>

#include "model/words.h"

namespace zem::client {

struct Range {
  double low = 0;
  double high = std::numeric_limits<double>::infinity();
  bool inside = false;   // alert inside instead of outside
  bool percent = false;  // the numbers are shares of a whole

  bool Alerts(double value) const;
  // As performance data spells it.
  std::string Text() const;
};

Range ParseRange(std::string_view text, UnitScale scale);

// The units that a command's thresholds may carry, each a parser of whole ranges.
using RangeParser = Range (*)(std::string_view text);
Range PlainRange(std::string_view text);
Range PercentRange(std::string_view text);
Range BytesRange(std::string_view text);    // K, M, G, T, powers of 1024
Range SecondsRange(std::string_view text);  // ms, s, m, h, d; seconds without a unit
Range MinutesRange(std::string_view text);  // the same; minutes without a unit, seconds inside
// Free space: bytes, or a share with "%". A single number is the least that must be free.
Range FreeSpaceRange(std::string_view text);

// A number as performance data spells it: no exponent, no needless digits, a decimal point.
std::string PlainNumber(double number);

}  // namespace zem::client

#endif  // ZEM_CLIENT_PLUGIN_RANGE_H_
