// SPDX-License-Identifier: BSD-2-Clause
// The listening socket.
//
// Shapes:  IPv4 stream socket, non-blocking, close-on-exec. Accepted sockets inherit its options:
//          keep-alive, no delay, and a send that makes no progress for two minutes gives up.
// Errors:  no descriptor, and one line in *error.
// Threads: the main thread.

#ifndef ZEM_CORE_LISTENER_H_
#define ZEM_CORE_LISTENER_H_

#include "core/endpoint.h"
#include "core/settings.h"
#include "core/unique_fd.h"
#include "text/ovstring.h"

namespace zem {

// An empty host listens on every address. A port outside 0 to 65535 fails.
[[nodiscard]] UniqueFd OpenListener(const OvString& host, int port, OvString* error);

// Three attempts with the configured host and port, each failed one followed by a second's pause.
[[nodiscard]] UniqueFd ListenWithRetry(const Settings& settings, OvString* error);

// The next connection, blocking and close-on-exec; none leaves errno set.
[[nodiscard]] UniqueFd AcceptConnection(int listener, Endpoint* peer);

}  // namespace zem

#endif  // ZEM_CORE_LISTENER_H_
