// SPDX-License-Identifier: BSD-2-Clause
// Connections and datagrams to a host that a request names. IPv4 only.
//
// Shapes:  host = dotted address or name; a port counts modulo 65536.
// Errors:  a signed code, which the server gets to see too, and one line in *error, which is
//          emptied on entry.
// Threads: any; blocks the caller for at most the time-out a wait. No shared state but the table of
//          the agent's own connections.

#ifndef ZEM_CHECKS_SYSTEM_SOCKETS_H_
#define ZEM_CHECKS_SYSTEM_SOCKETS_H_

#include <netinet/in.h>

#include <cstdint>
#include <span>
#include <string_view>

#include "core/unique_fd.h"
#include "text/ovstring.h"

namespace zem {

// Above 0 all went well.
namespace socket_code {
inline constexpr int kDone = 1;
inline constexpr int kTimeout = 0;
inline constexpr int kNotResolved = -2;
inline constexpr int kNoSocket = -3;
inline constexpr int kSendFailed = -4;
inline constexpr int kReceiveFailed = -5;
inline constexpr int kConnectFailed = -6;
}  // namespace socket_code

// kDone or kNotResolved.
int ResolveIPv4(const OvString& host, in_addr* address, OvString* error);

// The whole socket address; kDone or kNotResolved.
int ResolveEndpoint(const OvString& host, int32_t port, sockaddr_in* endpoint, OvString* error);

struct SocketExchange {
  OvString host = {};
  int32_t port = 0;
  // Deliberate: for TCP in milliseconds, for UDP in whole SECONDS; requests give milliseconds, and
  // the handler of UDP divides.
  int32_t timeout = 0;
  std::string_view data = {};   // sent unless empty
  std::span<char> buffer = {};  // for one piece of an answer; without it none is waited for
};

// kDone or what went wrong. Host, port and time-out alone count. The socket may be open after a
// failure as well. A time-out of 0 waits as long as the system does; with any other the socket is
// non-blocking from then on.
int ConnectTcp(UniqueFd* socket, const SocketExchange& wanted, OvString* error);

// Bytes received, kDone when nothing was to be received, or what went wrong; kTimeout with an
// empty text means that the peer closed without an answer.
int TcpExchange(const SocketExchange& wanted, OvString* error);

// The same with one datagram each way; an answer from anybody is taken. Bytes received, or bytes
// sent when nothing was to be received.
int UdpExchange(const SocketExchange& wanted, OvString* error);

}  // namespace zem

#endif  // ZEM_CHECKS_SYSTEM_SOCKETS_H_
