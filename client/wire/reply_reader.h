// SPDX-License-Identifier: BSD-2-Clause
// Reads one reply off a connection: its length, its enciphered text, the end mark.
//
// No length is trusted: one above the cap is refused before a byte is read, and below it memory
// grows with what really arrives.
// Errors:  nothing, and the reason in *failure.

#ifndef ZEM_CLIENT_WIRE_REPLY_READER_H_
#define ZEM_CLIENT_WIRE_REPLY_READER_H_

#include <cstddef>
#include <optional>
#include <string>

#include "protocol/session_key.h"
#include "wire/connection.h"
#include "wire/deadline.h"
#include "wire/failure.h"

namespace zem::client {

// A reply of nothing but line feeds would take a hundred times its size once it is taken apart.
inline constexpr ptrdiff_t kMostReplyLines = 2'000'000;

// The reply's plaintext without its end mark. `announced`, when given, takes the length field.
std::optional<std::string> ReadReply(Connection* connection, SessionKey* key,
                                     const Deadline& deadline, size_t* announced, Failure* failure,
                                     size_t largest = kLargestReply);

}  // namespace zem::client

#endif  // ZEM_CLIENT_WIRE_REPLY_READER_H_
