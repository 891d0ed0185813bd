// SPDX-License-Identifier: BSD-2-Clause
// Values as JSON, indented, always valid UTF-8.
//
// Threads: any; pure functions.

#ifndef ZEM_CLIENT_OUTPUT_JSON_H_
#define ZEM_CLIENT_OUTPUT_JSON_H_

#include <string>

#include "model/value.h"

namespace zem::client {

// Bytes that are no valid UTF-8 become U+FFFD, and control characters and the marks that reorder or
// hide text are escaped. No final line feed.
std::string ToJson(const Value& value);

}  // namespace zem::client

#endif  // ZEM_CLIENT_OUTPUT_JSON_H_
