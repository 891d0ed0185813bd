// SPDX-License-Identifier: BSD-2-Clause
// Matches an IPv4 address against a configured list of addresses and ranges.
//
// Shapes:  list = items between commas; an item is a dotted address or two joined by "-", in
//          either order. Addresses are read as inet_addr reads them. Any other character is
//          dropped before reading and reported afterwards.
// Errors:  `*error` is emptied on entry and names what is wrong with the list; the match stands
//          whatever it says, so the caller decides.
// Threads: any; pure functions.

#ifndef ZEM_PROTOCOL_ADDRESS_FILTER_H_
#define ZEM_PROTOCOL_ADDRESS_FILTER_H_

#include <cstdint>
#include <string_view>

#include "text/ovstring.h"

namespace zem {

// `peer` is in network byte order, as the socket layer gives it.
[[nodiscard]] bool MatchAddress(uint32_t peer, std::string_view list, OvString* error);

// The same for a dotted address; one that inet_addr rejects never matches and leaves the error
// text untouched.
[[nodiscard]] bool MatchAddressText(const OvString& address, std::string_view list,
                                    OvString* error);

}  // namespace zem

#endif  // ZEM_PROTOCOL_ADDRESS_FILTER_H_
