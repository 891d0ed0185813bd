// SPDX-License-Identifier: BSD-2-Clause
// Finds the command of a deciphered request, checks its gate and runs its handler.

#ifndef ZEM_DISPATCH_DISPATCHER_H_
#define ZEM_DISPATCH_DISPATCHER_H_

#include <string_view>

#include "core/request_context.h"
#include "protocol/agent_reply.h"

namespace zem {

// True when the command was recognised, whatever came of it; false for a request without an end
// mark, a void one and an unknown command. The reply is filled in every case.
[[nodiscard]] bool DispatchRequest(std::string_view request_text, const RequestContext& context,
                                   AgentReply* reply);

}  // namespace zem

#endif  // ZEM_DISPATCH_DISPATCHER_H_
