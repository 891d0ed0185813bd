// SPDX-License-Identifier: BSD-2-Clause
// What the agent is, what it offers and what of that is switched on.

#ifndef ZEM_DISPATCH_AGENT_INFO_H_
#define ZEM_DISPATCH_AGENT_INFO_H_

#include "core/request_context.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"

namespace zem {

// Always answers; takes no parameters.
void GetInfo(const AgentRequest& request, const RequestContext& context, AgentReply* reply);

// Adds the line "key=value".
void AddKeyLine(std::string_view key, std::string_view value, AgentReply* reply,
                Escape escape = Escape::kNo);

}  // namespace zem

#endif  // ZEM_DISPATCH_AGENT_INFO_H_
