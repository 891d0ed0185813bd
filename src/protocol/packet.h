// SPDX-License-Identifier: BSD-2-Clause
// The packets on the wire: bytes in, bytes out; no socket and no log.
//
// Request: packet size (4), signature 0x03 0x12, P (2), password field (P), K (2), key field (K),
//          R (4), request field (R). The packet size counts the bytes behind itself.
// Reply:   cipher size (4), enciphered text.
// Shapes:  all sizes little-endian, read as signed 32-bit values, reckoned with in 64 bits.
// Errors:  bytes from a peer are never an assertion: a parse answers false.
// Threads: any; pure functions.

#ifndef ZEM_PROTOCOL_PACKET_H_
#define ZEM_PROTOCOL_PACKET_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "protocol/session_key.h"
#include "text/ovstring.h"

namespace zem {

inline constexpr size_t kRequestHeaderBytes = 14;
inline constexpr size_t kReplyHeaderBytes = 4;
// A request that announces more is refused before its bytes are gathered.
inline constexpr int64_t kLargestPacketSize = 16'777'216;

// A request once it is parsed; before that, `text` holds the bytes as they were received.
struct RequestPacket {
  OvString text;
  SessionKeyPtr key;
};

// Receives each line traced while a packet is checked, with its line end. May be empty.
using PacketTrace = std::function<void(std::string_view line)>;

// True when the bytes received so far are worth parsing: at least a header, and as many as the
// packet size announces. A size above the largest counts as complete at once, so that the parse
// refuses it and no stranger makes the agent gather it.
bool IsPacketComplete(std::string_view received);

// What the bytes received so far tell about the password. It is wrong as soon as its length is not
// that of `password_field`: nothing that may still come can make such a packet valid, so nothing
// more is gathered.
enum class PasswordProof { kMissing, kWrong, kRight };
PasswordProof ProvesPassword(std::string_view received, std::string_view password_field);

// Checks and deciphers `packet->text` in place. On success the text is the request's and the key
// is set; on failure the packet's contents mean nothing.
// `password_field` is the PasswordDigest of the password.
[[nodiscard]] bool ParseRequestPacket(RequestPacket* packet, std::string_view password,
                                      std::string_view password_field, const PacketTrace& trace);

// The request packet of a client: signed, with the session key under the password and the text
// under the session key.
OvString BuildRequestPacket(std::string_view text, std::string_view session_key,
                            std::string_view password);

// Enciphers a text and puts its length, `length_digits` bytes wide, in front; no length field when
// that is 0. An empty text gives an empty result.
OvString BuildPacket(std::string_view text, const Cipher& cipher, size_t length_digits);
OvString BuildPacket(std::string_view text, std::string_view key_string, size_t length_digits);

}  // namespace zem

#endif  // ZEM_PROTOCOL_PACKET_H_
