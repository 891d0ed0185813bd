// SPDX-License-Identifier: BSD-2-Clause
// Texts with line breaks, as people type them and as the wire carries them.
//
// Errors:  std::invalid_argument, with a text for the person who typed it.

#ifndef ZEM_CLIENT_COMMANDS_ESCAPES_H_
#define ZEM_CLIENT_COMMANDS_ESCAPES_H_

#include <string>
#include <string_view>
#include <vector>

namespace zem::client {

// Turns \r, \n, \t, \\ and \xHH into the bytes they name.
std::string DecodeEscapes(std::string_view text);

// Warns about a text that will not arrive as it is.
void WarnOfEscapes(std::string_view text, std::string_view what,
                   std::vector<std::string>* warnings);

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_ESCAPES_H_
