// SPDX-License-Identifier: BSD-2-Clause
// The answers of commands that the protocol has and this platform has not.

#ifndef ZEM_DISPATCH_FIXED_ANSWERS_H_
#define ZEM_DISPATCH_FIXED_ANSWERS_H_

#include "core/request_context.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"

namespace zem {

void NotImplementedYet(const AgentRequest& request, const RequestContext& context,
                       AgentReply* reply);
void NotApplicable(const AgentRequest& request, const RequestContext& context, AgentReply* reply);

}  // namespace zem

#endif  // ZEM_DISPATCH_FIXED_ANSWERS_H_
