// SPDX-License-Identifier: BSD-2-Clause
// Figures as people read them: sizes in binary units, times, shares.
//
// Threads: any; pure functions.

#ifndef ZEM_CLIENT_OUTPUT_UNITS_H_
#define ZEM_CLIENT_OUTPUT_UNITS_H_

#include <cstdint>
#include <string>

#include "model/value.h"

namespace zem::client {

std::string ReadableBytes(double bytes);       // "31.6 GiB"
std::string ReadableMillis(double millis);     // "0.42 ms", "12 ms", "3.4 s"
std::string ReadableMinutes(int64_t minutes);  // "5 min", "2 h 10 min", "3 d 4 h"

// A leaf as a table shows it, safe for a terminal; empty for null.
std::string ReadableLeaf(const Value& value);

}  // namespace zem::client

#endif  // ZEM_CLIENT_OUTPUT_UNITS_H_
