// SPDX-License-Identifier: BSD-2-Clause
// Makes text from an agent safe to show: it may hold anything, terminal commands included.
//
// Threads: any; pure functions.

#ifndef ZEM_CLIENT_MODEL_PRINTABLE_H_
#define ZEM_CLIENT_MODEL_PRINTABLE_H_

#include <string>
#include <string_view>

namespace zem::client {

// Every control character and every byte that is no part of valid UTF-8 becomes visible ("\n",
// "\t", "\x1b"). The rest stays.
std::string Printable(std::string_view text);
// The same, but line feeds stay.
std::string PrintableLines(std::string_view text);
// The same for a JSON document that is valid UTF-8, by the escapes that JSON has for it.
std::string PrintableJson(std::string_view json);

// The number of terminal columns a printable text takes, counting one a character.
size_t Columns(std::string_view text);

}  // namespace zem::client

#endif  // ZEM_CLIENT_MODEL_PRINTABLE_H_
