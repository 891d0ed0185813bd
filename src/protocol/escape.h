// SPDX-License-Identifier: BSD-2-Clause
// Line breaks in a text that has to fit one line: LF travels as "%0A", CR as "%0D".
//
// Nothing else is escaped, "%" itself included, so a text that holds a literal "%0A" comes back
// with a line feed in its place.
// Threads: any; pure functions.

#ifndef ZEM_PROTOCOL_ESCAPE_H_
#define ZEM_PROTOCOL_ESCAPE_H_

#include <string_view>

#include "text/ovstring.h"

namespace zem {

OvString EscapeLineBreaks(std::string_view text);
void AppendEscaped(std::string_view text, OvString* out);

// Upper case only; every other "%" is copied as it stands.
OvString UnescapeLineBreaks(std::string_view text);

}  // namespace zem

#endif  // ZEM_PROTOCOL_ESCAPE_H_
