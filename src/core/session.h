// SPDX-License-Identifier: BSD-2-Clause
// One connection, from its first byte to its close, on a thread of its own.
//
// A session receives one request, has it dispatched, sends one reply and closes. Only an accepted
// upgrade keeps it open, for the program's bytes.

#ifndef ZEM_CORE_SESSION_H_
#define ZEM_CORE_SESSION_H_

#include "core/agent.h"
#include "core/endpoint.h"
#include "core/unique_fd.h"

namespace zem {

// Starts the session's thread, which owns the connection from then on. When no thread is to be had,
// sessions of strangers are shut down for it, which may take up to a second; false when that does
// not help either, and the connection is closed. Main thread; `agent` outlives every session.
[[nodiscard]] bool StartSession(Agent* agent, UniqueFd connection, const Endpoint& peer);

}  // namespace zem

#endif  // ZEM_CORE_SESSION_H_
