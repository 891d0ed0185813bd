// SPDX-License-Identifier: BSD-2-Clause
// Reads the lines of a reply as numbers, flags and time stamps.
//
// Errors:  BadReply, naming the line: a peer's text is never trusted to be what it should.
// Threads: any; pure functions.

#ifndef ZEM_CLIENT_COMMANDS_FIELDS_H_
#define ZEM_CLIENT_COMMANDS_FIELDS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "wire/reply_text.h"

namespace zem::client {

int64_t IntLine(const Reply& reply, size_t number);
// A number that may be blank-padded and may have a fraction.
double NumberLine(const Reply& reply, size_t number);
bool FlagLine(const Reply& reply, size_t number);
// DDMMYYYYhhmmss as ISO 8601 without a zone.
std::string StampLine(const Reply& reply, size_t number);
// The line with its line breaks put back.
std::string UnescapedLine(const Reply& reply, size_t number);

// The same for a text by itself.
std::optional<int64_t> ParseWhole(std::string_view text);
std::optional<std::string> ParseStamp(std::string_view text);

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_FIELDS_H_
